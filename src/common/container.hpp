// The container template behind every collection a client can walk.
#ifndef TERVIK_ROM_SRC_COMMON_CONTAINER_HPP
#define TERVIK_ROM_SRC_COMMON_CONTAINER_HPP

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <tervik/rom/common.hpp>

#include "common/flat_index.hpp"
#include "common/identifiable.hpp"
#include "common/json.hpp"

namespace Tervik::Rom::Common {

enum class Ownership { Owning, Referencing };

// Members whose JSON always holds their internal id declare
// `static constexpr bool kWritesInternalId = true;`.
template <class C, class = void>
struct WritesInternalId : std::false_type {};
template <class C>
struct WritesInternalId<C, std::void_t<decltype(C::kWritesInternalId)>> : std::bool_constant<C::kWritesInternalId> {};

// Members in insertion order, each with a unique non-empty internal id. An owning
// container deletes its members; a referencing one lists members owned elsewhere.
// Beyond a few members, ids and identities are indexed, so Add and IndexOf take
// constant expected time; a member's internal id must not change while it is in a
// container.
template <class C, class I>
class CContainer : public IContainer<I>, public CIdentifiable {
public:
    explicit CContainer(Ownership ownership = Ownership::Owning) : ownership_(ownership) {}
    CContainer(const CContainer&) = delete;
    CContainer& operator=(const CContainer&) = delete;
    ~CContainer() override { Clear(); }

    IRomObject* GetObject(std::uint32_t index) const override { return At(index); }

    // Compares addresses only: a handle that is no longer a member is never touched.
    std::uint32_t IndexOf(const IRomObject* object) const override {
        if (index_ == nullptr) {
            for (std::uint32_t i = 0; i < members_.size(); ++i)
                if (static_cast<const IRomObject*>(members_[i]) == object) return i;
            return IContainerBase::kNotFound;
        }
        return index_->positions.Find(CFlatIndex::Key(object));
    }

    std::uint32_t GetCount() const override { return static_cast<std::uint32_t>(members_.size()); }

    // Equal when the other is a container of the same interface whose members equal
    // these, index by index.
    bool Equals(const IRomObject& other) const override {
        const auto* that = dynamic_cast<const IContainer<I>*>(&other);
        if (that == nullptr || that->GetCount() != GetCount()) return false;
        for (std::uint32_t i = 0; i < GetCount(); ++i)
            if (!members_[i]->Equals(*that->Get(i))) return false;
        return true;
    }

    I* Get(std::uint32_t index) const override { return At(index); }

    virtual C* GetMutable(std::uint32_t index) const { return At(index); }

    // Appends a member and takes ownership of it (owning containers only). On failure
    // the member is deleted.
    C& Add(std::unique_ptr<C> member) {
        Insert(member.get());
        return *member.release();
    }

    // Appends a member owned elsewhere (referencing containers only).
    void AddReference(C& member) { Insert(&member); }

    // Makes room for count members in all.
    void Reserve(std::size_t count) {
        members_.reserve(count);
        if (count > kLinearLimit) BuildIndex(count);
    }

    void Clear() {
        if (ownership_ == Ownership::Owning) {
            for (C* member : members_) delete member;
        }
        members_.clear();
        index_.reset();
    }

    const std::vector<C*>& Members() const { return members_; }

    // Exchanges the members with other, a container of the same ownership; each keeps its
    // own internal id.
    void SwapMembers(CContainer& other) noexcept {
        members_.swap(other.members_);
        index_.swap(other.index_);
    }

    // Indexes the members' internal ids again, after they were changed.
    void Reindex() {
        if (index_ == nullptr) return;
        index_.reset();
        BuildIndex(members_.capacity());
    }

    // The member with this internal id, or null.
    C* FindById(const std::string& id) const {
        if (index_ == nullptr) {
            for (C* member : members_)
                if (member->GetInternalId() == id) return member;
            return nullptr;
        }
        const std::uint32_t position =
            index_->ids.Find(CFlatIndex::Hash(id), [&](std::uint32_t p) { return members_[p]->GetInternalId() == id; });
        return position == CFlatIndex::kNone ? nullptr : members_[position];
    }

private:
    // Up to this many members, look-ups scan the list.
    static constexpr std::size_t kLinearLimit = 16;

    struct Index {
        CFlatIndex ids;
        CFlatIndex positions;
        std::size_t count = 0;
    };

    C* At(std::uint32_t index) const {
        if (index >= members_.size()) throw std::out_of_range("invalid vector<T> subscript");
        return members_[index];
    }

    void BuildIndex(std::size_t capacity) {
        if (index_ == nullptr) {
            index_ = std::make_unique<Index>();
            for (std::uint32_t i = 0; i < members_.size(); ++i) Remember(members_[i], i);
        }
        index_->ids.Reserve(capacity);
        index_->positions.Reserve(capacity);
    }

    void Remember(C* member, std::uint32_t position) {
        index_->ids.Insert(CFlatIndex::Hash(member->GetInternalId()), position);
        index_->positions.Insert(CFlatIndex::Key(static_cast<const IRomObject*>(member)), position);
        ++index_->count;
    }

    void Insert(C* member) {
        const std::string& id = member->GetInternalId();
        if (id.empty()) throw RomException("Object that is requested to be added has empty id !");
        if (FindById(id) != nullptr) throw RomException("Object with id " + id + " already exists in container !");
        const auto position = static_cast<std::uint32_t>(members_.size());
        members_.push_back(member);
        try {
            if (index_ == nullptr && members_.size() > kLinearLimit) BuildIndex(members_.size());
            if (index_ != nullptr && index_->count < members_.size()) Remember(member, position);
        } catch (...) {
            members_.pop_back();
            index_.reset();
            throw;
        }
    }

    Ownership ownership_;
    std::vector<C*> members_;
    std::unique_ptr<Index> index_;
};

// A container that is written as a JSON array and read back from one.
template <class C, class I>
class CContainerWithJsonService : public CContainer<C, I> {
public:
    using CContainer<C, I>::CContainer;

    void ToJson(Json::Value& array) const {
        array = Json::Value(Json::arrayValue);
        for (const C* member : this->Members()) {
            Json::Value item;
            member->ToJson(item);
            array.append(std::move(item));
        }
    }

    // Replaces the members by those of the array, in array order. Two elements with
    // equal content, or equal internal ids, are refused; members read before the
    // faulty one stay.
    void FromJson(const Json::Value& array, std::uint32_t version) {
        this->Clear();
        if (array.isNull()) return;
        if (!array.isArray()) throw RomException("A JSON array is expected.");
        if constexpr (WritesInternalId<C>::value) {
            // The rendered content holds the internal id, so only a member whose id is
            // taken already can render like an earlier one.
            for (const Json::Value& item : array) {
                auto member = std::make_unique<C>();
                member->FromJson(item, version);
                if (const C* earlier = this->FindById(member->GetInternalId())) ThrowIfSameContent(*earlier, *member);
                this->Add(std::move(member));
            }
            return;
        }
        // Members by the hash of their content; an earlier member is rendered again
        // only when its hash matches.
        CFlatIndex byHash;
        byHash.Reserve(array.size());
        for (const Json::Value& item : array) {
            auto member = std::make_unique<C>();
            member->FromJson(item, version);
            Json::Value content;
            member->ToJson(content);
            const std::uint64_t hash = HashJson(content);
            byHash.Find(hash, [&](std::uint32_t earlier) {
                ThrowIfSameContent(*this->Members()[earlier], content);
                return false;
            });
            this->Add(std::move(member));
            byHash.Insert(hash, this->GetCount() - 1);
        }
    }

private:
    static void ThrowIfSameContent(const C& earlier, const C& member) {
        Json::Value content;
        member.ToJson(content);
        ThrowIfSameContent(earlier, content);
    }
    static void ThrowIfSameContent(const C& earlier, const Json::Value& content) {
        Json::Value rendered;
        earlier.ToJson(rendered);
        if (rendered == content)
            throw RomException(
                "During deserialization, CContainerWithJsonService found 2 objects with the same content !\n"
                "object content is : \n" +
                StyledJsonText(content) + "\n");
    }
};

}  // namespace Tervik::Rom::Common

#endif
