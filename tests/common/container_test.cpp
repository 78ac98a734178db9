#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/container.hpp"
#include "support/temp_dir.hpp"

using namespace Tervik::Rom::Common;

namespace {

class IItem : public virtual IRomObject {
public:
    virtual int Value() const = 0;
};

// A member with content of its own, written with its internal id.
class CItem : public IItem, public CIdentifiable, public JsonService {
public:
    CItem() = default;
    explicit CItem(int value) : value_(value) {}
    int Value() const override { return value_; }
    void ToJson(Json::Value& value) const override {
        value["value"] = value_;
        InternalIdToJson(value);
    }
    void FromJson(const Json::Value& value, std::uint32_t) override {
        value_ = value["value"].asInt();
        InternalIdFromJson(value);
    }

private:
    int value_ = 0;
};

using Items = CContainerWithJsonService<CItem, IItem>;

Json::Value Item(int value, const std::string& id) {
    Json::Value item;
    item["value"] = value;
    item["internalId"] = id;
    return item;
}

}  // namespace

TEST(Container, KeepsInsertionOrderFindsMembersByIdentityAndRefusesIndicesBeyondTheCount) {
    Items items;
    CItem& first = items.Add(std::make_unique<CItem>(1));
    CItem& second = items.Add(std::make_unique<CItem>(2));
    ASSERT_EQ(items.GetCount(), 2u);
    EXPECT_EQ(items.Get(0)->Value(), 1);
    EXPECT_EQ(items.GetMutable(1), &second);
    EXPECT_EQ(items.GetObject(0), static_cast<IRomObject*>(&first));
    EXPECT_EQ(items.IndexOf(&second), 1u);

    Items others;
    CItem& stranger = others.Add(std::make_unique<CItem>(1));
    EXPECT_EQ(items.IndexOf(&stranger), IContainerBase::kNotFound);
    EXPECT_EQ(items.IndexOf(nullptr), IContainerBase::kNotFound);
    EXPECT_EQ(items.IndexOf(&items), IContainerBase::kNotFound);
    EXPECT_THROW(items.GetObject(2), std::out_of_range);
    EXPECT_THROW(items.Get(7), std::out_of_range);
    EXPECT_EQ(MessageOf([&] { items.GetMutable(0xFFFFFFFFu); }), "invalid vector<T> subscript");
}

TEST(Container, RefusesEmptyAndDuplicateIds) {
    Items items;
    auto blank = std::make_unique<CItem>(1);
    blank->SetInternalId("");
    EXPECT_EQ(MessageOf([&] { items.Add(std::move(blank)); }), "Object that is requested to be added has empty id !");

    CItem& first = items.Add(std::make_unique<CItem>(1));
    auto twin = std::make_unique<CItem>(2);
    twin->SetInternalId(first.GetInternalId());
    EXPECT_EQ(MessageOf([&] { items.Add(std::move(twin)); }),
              "Object with id " + first.GetInternalId() + " already exists in container !");
    EXPECT_EQ(items.GetCount(), 1u);

    // Every member is found again and its id refused a second time, on either side of the
    // index a container builds as it grows, or builds at once when told its size.
    for (const bool reserve : {false, true}) {
        Items many;
        if (reserve) many.Reserve(40);
        std::vector<CItem*> added;
        for (int i = 0; i < 40; ++i) added.push_back(&many.Add(std::make_unique<CItem>(i)));
        for (std::uint32_t i = 0; i < added.size(); ++i) {
            EXPECT_EQ(many.IndexOf(added[i]), i) << reserve;
            EXPECT_EQ(many.FindById(added[i]->GetInternalId()), added[i]) << reserve;
            auto copy = std::make_unique<CItem>(0);
            copy->SetInternalId(added[i]->GetInternalId());
            EXPECT_THROW(many.Add(std::move(copy)), RomException) << reserve << " " << i;
        }
    }

    const IRomObject* firstHandle = &first;
    items.Clear();
    EXPECT_EQ(items.GetCount(), 0u);
    EXPECT_EQ(items.IndexOf(firstHandle), IContainerBase::kNotFound);
    auto again = std::make_unique<CItem>(3);
    again->SetInternalId("reused");
    items.Add(std::move(again));
    EXPECT_EQ(items.GetCount(), 1u);
}

TEST(Container, ReferencingContainerLeavesMembersToTheirOwner) {
    Items owner;
    CItem& item = owner.Add(std::make_unique<CItem>(5));
    {
        Items view(Ownership::Referencing);
        view.AddReference(item);
        EXPECT_EQ(view.IndexOf(&item), 0u);
    }
    EXPECT_EQ(owner.Get(0)->Value(), 5);
}

TEST(ContainerJson, RoundTripKeepsOrderAndIds) {
    Items items;
    for (int i = 5; i > 0; --i) items.Add(std::make_unique<CItem>(i));
    Json::Value array;
    items.ToJson(array);
    ASSERT_TRUE(array.isArray());
    ASSERT_EQ(array.size(), 5u);

    Items read;
    read.FromJson(array, 1);
    ASSERT_EQ(read.GetCount(), 5u);
    for (std::uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(read.Get(i)->Value(), items.Get(i)->Value());
        EXPECT_EQ(read.GetMutable(i)->GetInternalId(), items.GetMutable(i)->GetInternalId());
    }

    Items().ToJson(array);
    EXPECT_EQ(array, Json::Value(Json::arrayValue));
    read.FromJson(Json::Value(), 1);
    EXPECT_EQ(read.GetCount(), 0u);
}

// Members read before a duplicate stay: equal content is refused as such, an equal id with
// other content by Add, and solver ids of equal text are equal content.
TEST(ContainerJson, DuplicatesRefused) {
    // What reading the members into container says.
    const auto read = [](auto& container, std::initializer_list<Json::Value> members) {
        Json::Value array(Json::arrayValue);
        for (const Json::Value& member : members) array.append(member);
        return MessageOf([&] { container.FromJson(array, 1); });
    };
    Items items;
    EXPECT_EQ(read(items, {Item(1, "a"), Item(2, "b"), Item(1, "a")}),
              "During deserialization, CContainerWithJsonService found 2 objects with the same content !\n"
              "object content is : \n{\n\t\"internalId\" : \"a\",\n\t\"value\" : 1\n}\n\n");
    EXPECT_EQ(items.GetCount(), 2u);
    EXPECT_EQ(read(items, {Item(1, "a"), Item(2, "a")}), "Object with id a already exists in container !");
    EXPECT_EQ(items.GetCount(), 1u);
    CContainerWithJsonService<CSolverIdentifier, ISolverIdentifier> ids;
    EXPECT_NE(read(ids, {"wall", "inlet", "wall"}).find("same content"), std::string::npos);
}

TEST(ContainerJson, ReadsAHundredThousandMembers) {
    // Configurations with this many supports are real; reading must not be quadratic.
    constexpr int count = 100000;
    Json::Value array(Json::arrayValue);
    for (int i = 0; i < count; ++i) array.append(Item(i, "id-" + std::to_string(i)));
    Items items;
    items.FromJson(array, 1);
    ASSERT_EQ(items.GetCount(), static_cast<std::uint32_t>(count));
    EXPECT_EQ(items.IndexOf(items.GetObject(count - 1)), static_cast<std::uint32_t>(count - 1));

    array.append(Item(count - 1, "id-" + std::to_string(count - 1)));
    EXPECT_NE(MessageOf([&] { items.FromJson(array, 1); }).find("same content"), std::string::npos);
}
