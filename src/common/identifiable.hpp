// Implementations of the root identity types.
#ifndef TERVIK_ROM_SRC_COMMON_IDENTIFIABLE_HPP
#define TERVIK_ROM_SRC_COMMON_IDENTIFIABLE_HPP

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tervik/rom/common.hpp>

#include "common/flat_index.hpp"
#include "common/json.hpp"

namespace Tervik::Rom::Common {

// A new random version-4 UUID in lowercase 8-4-4-4-12 form. Safe from any thread.
std::string NewUuid();

// The id is drawn when first asked for, so objects whose id is read from a file or
// never used cost no random draw.
class CIdentifiable : public virtual IIdentifiable {
public:
    CIdentifiable() = default;

    const std::string& GetInternalId() const override;
    void SetInternalId(const std::string& id) override;

    // Takes other's id, drawn or not yet (an id nobody asked for is drawn when first asked
    // for, wherever it lives). A container indexes its members' ids: Reindex it after.
    void CopyInternalId(const CIdentifiable& other) {
        id_ = other.id_;
        idSet_ = other.idSet_;
    }
    void SwapInternalId(CIdentifiable& other) noexcept {
        id_.swap(other.id_);
        std::swap(idSet_, other.idSet_);
    }

protected:
    // "internalId": always written, read only when present.
    void InternalIdToJson(Json::Value& value) const;
    void InternalIdFromJson(const Json::Value& value);

private:
    mutable std::string id_;
    bool idSet_ = false;  // set explicitly, possibly to the empty text
};

class CIdentifiableBySolver : public virtual IIdentifiableBySolver {
public:
    const std::string& GetSolverId() const override;
    void SetSolverId(const std::string& solverId) override;

protected:
    // "solverId": always written, read only when present.
    void SolverIdToJson(Json::Value& value) const;
    void SolverIdFromJson(const Json::Value& value);

private:
    std::string solverId_;
};

// Counts every change of a solver id in the process, so that look-up tables keyed by
// solver id know when to rebuild.
std::atomic<std::uint64_t>& SolverIdGeneration();

// The first member, in index order, with a given solver id. Built on first use and
// rebuilt after any solver id changed or the caller invalidated it, so a series of
// look-ups takes linear time in all.
template <class C>
class CSolverIdIndex {
public:
    static constexpr std::uint32_t kNotFound = 0xFFFFFFFFu;

    // Call whenever the member list changes.
    void Invalidate() { built_ = false; }

    std::uint32_t Find(const std::vector<C*>& members, const std::string& solverId) {
        const std::uint64_t generation = SolverIdGeneration().load(std::memory_order_relaxed);
        if (!built_ || generation != generation_) {
            first_.Clear();
            first_.Reserve(members.size());
            for (std::uint32_t i = 0; i < members.size(); ++i)
                first_.Insert(CFlatIndex::Hash(members[i]->GetSolverId()), i);
            built_ = true;
            generation_ = generation;
        }
        return first_.Find(CFlatIndex::Hash(solverId),
                           [&](std::uint32_t i) { return members[i]->GetSolverId() == solverId; });
    }

private:
    CFlatIndex first_;
    std::uint64_t generation_ = 0;
    bool built_ = false;
};

// A solver id held as a value; in JSON a plain string.
class CSolverIdentifier : public ISolverIdentifier, public CIdentifiable, public JsonService {
public:
    CSolverIdentifier() = default;
    explicit CSolverIdentifier(std::string id);

    const std::string& GetId() const override;
    bool Equals(const IRomObject& other) const override;
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

private:
    std::string id_;
};

}  // namespace Tervik::Rom::Common

#endif
