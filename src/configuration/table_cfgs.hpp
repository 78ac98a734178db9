// The sizes of the mesh tables: nodes, standard elements, polygons and polyhedrons.
#ifndef TERVIK_ROM_SRC_CONFIGURATION_TABLE_CFGS_HPP
#define TERVIK_ROM_SRC_CONFIGURATION_TABLE_CFGS_HPP

#include <cstdint>
#include <memory>
#include <string>

#include <tervik/rom/configuration.hpp>

#include "common/identifiable.hpp"
#include "common/json.hpp"

namespace Tervik::Rom::Configuration {

// Reads an unsigned or signed JSON number; the JSON library's conversion errors pass
// through, and a number with a fraction is refused rather than truncated.
std::uint32_t JsonToUInt(const Json::Value& value);
std::int32_t JsonToInt(const Json::Value& value);

// A problem text ("the ...") as a sentence of its own.
std::string Capitalized(std::string text);

// Why count x dimension coordinates cannot make one table, or "" (GetCoordinateTableSize
// gives the product modulo 2^32, as the getter always did; a data object is not to be
// sized from it).
std::string CoordinateTableProblem(const INodeDataCfg& cfg);

// Equal when both parts are absent, or both present and equal.
template <class Part>
bool PartsEqual(const Part* a, const Part* b) {
    return a == nullptr ? b == nullptr : b != nullptr && a->Equals(*b);
}

class CNodeDataCfg : public INodeDataCfg, public Common::CIdentifiable, public Common::JsonService {
public:
    CNodeDataCfg() = default;
    explicit CNodeDataCfg(const INodeDataCfg& source);

    void Check() const override;
    std::uint32_t GetCount() const override { return count_; }
    std::int32_t GetDimension() const override { return dimension_; }
    std::uint32_t GetCoordinateTableSize() const override { return count_ * static_cast<std::uint32_t>(dimension_); }
    void SetCount(std::uint32_t count) override { count_ = count; }
    void SetDimension(std::int32_t dimension) override { dimension_ = dimension; }

    bool Equals(const IRomObject& other) const override;
    // {"count", "dim"}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

    void CopyIdsOf(const CNodeDataCfg& other) { CopyInternalId(other); }
    void SwapWith(CNodeDataCfg& other) noexcept;

private:
    std::uint32_t count_ = 0;
    std::int32_t dimension_ = 0;
};

// The texts that tell the three element table configurations apart.
struct ElementTableTexts {
    const char* noCount;
    const char* noConnectivity;
};
extern const ElementTableTexts kStdElementTexts;
extern const ElementTableTexts kPolygonTexts;
extern const ElementTableTexts kPolyhedronTexts;

template <class I, const ElementTableTexts& Texts>
class CElementTableCfg : public I, public Common::CIdentifiable, public Common::JsonService {
public:
    CElementTableCfg() = default;
    explicit CElementTableCfg(const I& source)
        : connectivityTableSize_(source.GetConnectivityTableSize()), count_(source.GetCount()) {}

    void Check() const override;
    std::uint32_t GetConnectivityTableSize() const override { return connectivityTableSize_; }
    std::uint32_t GetCount() const override { return count_; }
    void SetConnectivityTableSize(std::uint32_t size) override { connectivityTableSize_ = size; }
    void SetCount(std::uint32_t count) override { count_ = count; }

    bool Equals(const Common::IRomObject& other) const override;
    // {"count", "connectivityTableSize"}
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version) override;

    void CopyIdsOf(const CElementTableCfg& other) { this->CopyInternalId(other); }

private:
    std::uint32_t connectivityTableSize_ = 0;
    std::uint32_t count_ = 0;
};

using CStdElementDataCfg = CElementTableCfg<IStdElementDataCfg, kStdElementTexts>;
using CPolygonDataCfg = CElementTableCfg<IPolygonDataCfg, kPolygonTexts>;
using CPolyhedronDataCfg = CElementTableCfg<IPolyhedronDataCfg, kPolyhedronTexts>;

// What tells the two configurations made of two optional parts apart.
struct TwoPartTexts {
    const char* firstKey;
    const char* secondKey;
    const char* noPart;
};
extern const TwoPartTexts kElementDataTexts;
extern const TwoPartTexts kUserElementDataTexts;

// A configuration of two optional parts, each created on first Configure. Check tests
// the first part, then the second.
template <class I, class First, class Second, const TwoPartTexts& Texts>
class CTwoPartCfg : public I, public Common::CIdentifiable, public Common::JsonService {
public:
    void Check() const override;
    // {first key: object, second key: object}, each only when present.
    void ToJson(Json::Value& value) const override;
    // Discards both parts, then reads each whose key is present.
    void FromJson(const Json::Value& value, std::uint32_t version) override;

    // The internal ids of a copy of other, made by the copy constructor.
    void CopyIdsOf(const CTwoPartCfg& other) {
        this->CopyInternalId(other);
        if (first_ != nullptr && other.first_ != nullptr) first_->CopyIdsOf(*other.first_);
        if (second_ != nullptr && other.second_ != nullptr) second_->CopyIdsOf(*other.second_);
    }
    void SwapWith(CTwoPartCfg& other) noexcept {
        first_.swap(other.first_);
        second_.swap(other.second_);
        this->SwapInternalId(other);
    }

protected:
    First& ConfigureFirst();
    Second& ConfigureSecond();
    template <class Part, class Out>
    static bool Found(const std::unique_ptr<Part>& part, const Out*& out) {
        out = part.get();
        return out != nullptr;
    }
    template <class PartI, class Part>
    static std::unique_ptr<Part> CopyOf(const PartI* part) {
        return part == nullptr ? nullptr : std::make_unique<Part>(*part);
    }

    std::unique_ptr<First> first_;
    std::unique_ptr<Second> second_;
};

class CUserElementDataCfg
    : public CTwoPartCfg<IUserElementDataCfg, CPolyhedronDataCfg, CPolygonDataCfg, kUserElementDataTexts> {
public:
    CUserElementDataCfg() = default;
    explicit CUserElementDataCfg(const IUserElementDataCfg& source);

    IPolyhedronDataCfg& ConfigurePolyhedronData() override { return ConfigureFirst(); }
    IPolygonDataCfg& ConfigurePolygonData() override { return ConfigureSecond(); }
    bool TryGetPolyhedronDataCfg(const IPolyhedronDataCfg*& out) const override;
    bool TryGetPolygonDataCfg(const IPolygonDataCfg*& out) const override;
    bool Equals(const IRomObject& other) const override;
};

class CElementDataCfg
    : public CTwoPartCfg<IElementDataCfg, CStdElementDataCfg, CUserElementDataCfg, kElementDataTexts> {
public:
    CElementDataCfg() = default;
    explicit CElementDataCfg(const IElementDataCfg& source);

    IStdElementDataCfg& ConfigureStdElementData() override { return ConfigureFirst(); }
    IUserElementDataCfg& ConfigureUserElementData() override { return ConfigureSecond(); }
    bool TryGetStdElementDataCfg(const IStdElementDataCfg*& out) const override;
    bool TryGetUserElementDataCfg(const IUserElementDataCfg*& out) const override;
    bool Equals(const IRomObject& other) const override;
};

}  // namespace Tervik::Rom::Configuration

#endif
