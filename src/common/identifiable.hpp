// Implementations of the root identity types.
#ifndef TERVIK_ROM_SRC_COMMON_IDENTIFIABLE_HPP
#define TERVIK_ROM_SRC_COMMON_IDENTIFIABLE_HPP

#include <string>

#include <tervik/rom/common.hpp>

#include "common/json.hpp"

namespace Tervik::Rom::Common {

// A new random version-4 UUID in lowercase 8-4-4-4-12 form. Safe from any thread.
std::string NewUuid();

class CIdentifiable : public virtual IIdentifiable {
public:
    CIdentifiable();

    const std::string& GetInternalId() const override;
    void SetInternalId(const std::string& id) override;

protected:
    // "internalId": always written, read only when present.
    void InternalIdToJson(Json::Value& value) const;
    void InternalIdFromJson(const Json::Value& value);

private:
    std::string id_;
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
