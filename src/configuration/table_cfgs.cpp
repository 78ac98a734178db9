#include "configuration/table_cfgs.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Tervik::Rom::Configuration {

using Common::RomException;

std::uint32_t JsonToUInt(const Json::Value& value) {
    if (value.type() == Json::realValue && !value.isIntegral()) throw RomException("Value is not convertible to UInt.");
    return value.asUInt();
}

std::int32_t JsonToInt(const Json::Value& value) {
    if (value.type() == Json::realValue && !value.isIntegral()) throw RomException("Value is not convertible to Int.");
    return value.asInt();
}

std::string Capitalized(std::string text) {
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

// ---- Node data ------------------------------------------------------------------

CNodeDataCfg::CNodeDataCfg(const INodeDataCfg& source) : count_(source.GetCount()), dimension_(source.GetDimension()) {}

void CNodeDataCfg::Check() const {
    if (count_ == 0) throw RomException("The number of nodes has not been defined in node data configuration.");
    if (dimension_ == 0) throw RomException("The dimension has not been defined in node data configuration.");
}

std::string CoordinateTableProblem(const INodeDataCfg& cfg) {
    const std::uint32_t count = cfg.GetCount();
    const std::int32_t dimension = cfg.GetDimension();
    const std::string head = "the node data configuration announces " + std::to_string(count) + " nodes of dimension " +
                             std::to_string(dimension);
    if (dimension < 0 && count != 0) return head + ": a dimension cannot be negative.";
    const std::uint64_t coordinates = std::uint64_t{count} * static_cast<std::uint32_t>(std::max(dimension, 0));
    if (coordinates <= UINT32_MAX) return std::string();
    return head + ", " + std::to_string(coordinates) + " coordinates, where a table holds at most 4294967295 values.";
}

void CNodeDataCfg::SwapWith(CNodeDataCfg& other) noexcept {
    std::swap(count_, other.count_);
    std::swap(dimension_, other.dimension_);
    SwapInternalId(other);
}

bool CNodeDataCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const INodeDataCfg*>(&other);
    return that != nullptr && that->GetCount() == count_ && that->GetDimension() == dimension_;
}

void CNodeDataCfg::ToJson(Json::Value& value) const {
    value["count"] = count_;
    value["dim"] = dimension_;
    InternalIdToJson(value);
}

void CNodeDataCfg::FromJson(const Json::Value& value, std::uint32_t) {
    if (value.isMember("count")) count_ = JsonToUInt(value["count"]);
    if (value.isMember("dim")) dimension_ = JsonToInt(value["dim"]);
    InternalIdFromJson(value);
}

// ---- Element tables -------------------------------------------------------------

const ElementTableTexts kStdElementTexts{
    "The number of element has not been defined in standard element data configuration.",
    "The size of the connectivity table has not been defined in standard element data configuration."};
const ElementTableTexts kPolygonTexts{
    "The number of polygon has not been defined in polygon data configuration.",
    "The size of the connectivity table has not been defined in polygon data configuration."};
const ElementTableTexts kPolyhedronTexts{
    "The number of polyhedrons has not been defined in polyhedron data configuration.",
    "The size of the connectivity table has not been defined in polyhedron data configuration."};

template <class I, const ElementTableTexts& Texts>
void CElementTableCfg<I, Texts>::Check() const {
    if (count_ == 0) throw RomException(Texts.noCount);
    if (connectivityTableSize_ == 0) throw RomException(Texts.noConnectivity);
}

template <class I, const ElementTableTexts& Texts>
bool CElementTableCfg<I, Texts>::Equals(const Common::IRomObject& other) const {
    const auto* that = dynamic_cast<const I*>(&other);
    return that != nullptr && that->GetCount() == count_ && that->GetConnectivityTableSize() == connectivityTableSize_;
}

template <class I, const ElementTableTexts& Texts>
void CElementTableCfg<I, Texts>::ToJson(Json::Value& value) const {
    value["count"] = count_;
    value["connectivityTableSize"] = connectivityTableSize_;
    InternalIdToJson(value);
}

template <class I, const ElementTableTexts& Texts>
void CElementTableCfg<I, Texts>::FromJson(const Json::Value& value, std::uint32_t) {
    if (value.isMember("count")) count_ = JsonToUInt(value["count"]);
    if (value.isMember("connectivityTableSize")) connectivityTableSize_ = JsonToUInt(value["connectivityTableSize"]);
    InternalIdFromJson(value);
}

template class CElementTableCfg<IStdElementDataCfg, kStdElementTexts>;
template class CElementTableCfg<IPolygonDataCfg, kPolygonTexts>;
template class CElementTableCfg<IPolyhedronDataCfg, kPolyhedronTexts>;

// ---- Two-part configurations ------------------------------------------------------

const TwoPartTexts kElementDataTexts{"stdElementData", "userElementData",
                                     "No user element data have been configurated !"};
const TwoPartTexts kUserElementDataTexts{"polyhedronData", "polygonData",
                                         "No user defined element data have been configurated !"};

template <class I, class First, class Second, const TwoPartTexts& Texts>
void CTwoPartCfg<I, First, Second, Texts>::Check() const {
    if (first_ == nullptr && second_ == nullptr) throw RomException(Texts.noPart);
    if (first_ != nullptr) first_->Check();
    if (second_ != nullptr) second_->Check();
}

template <class I, class First, class Second, const TwoPartTexts& Texts>
First& CTwoPartCfg<I, First, Second, Texts>::ConfigureFirst() {
    if (first_ == nullptr) first_ = std::make_unique<First>();
    return *first_;
}

template <class I, class First, class Second, const TwoPartTexts& Texts>
Second& CTwoPartCfg<I, First, Second, Texts>::ConfigureSecond() {
    if (second_ == nullptr) second_ = std::make_unique<Second>();
    return *second_;
}

template <class I, class First, class Second, const TwoPartTexts& Texts>
void CTwoPartCfg<I, First, Second, Texts>::ToJson(Json::Value& value) const {
    value = Json::Value(Json::objectValue);
    if (first_ != nullptr) first_->ToJson(value[Texts.firstKey]);
    if (second_ != nullptr) second_->ToJson(value[Texts.secondKey]);
    InternalIdToJson(value);
}

template <class I, class First, class Second, const TwoPartTexts& Texts>
void CTwoPartCfg<I, First, Second, Texts>::FromJson(const Json::Value& value, std::uint32_t version) {
    first_.reset();
    second_.reset();
    if (value.isMember(Texts.firstKey)) ConfigureFirst().FromJson(value[Texts.firstKey], version);
    if (value.isMember(Texts.secondKey)) ConfigureSecond().FromJson(value[Texts.secondKey], version);
    InternalIdFromJson(value);
}

template class CTwoPartCfg<IUserElementDataCfg, CPolyhedronDataCfg, CPolygonDataCfg, kUserElementDataTexts>;
template class CTwoPartCfg<IElementDataCfg, CStdElementDataCfg, CUserElementDataCfg, kElementDataTexts>;

CUserElementDataCfg::CUserElementDataCfg(const IUserElementDataCfg& source) {
    const IPolyhedronDataCfg* polyhedrons = nullptr;
    const IPolygonDataCfg* polygons = nullptr;
    source.TryGetPolyhedronDataCfg(polyhedrons);
    source.TryGetPolygonDataCfg(polygons);
    first_ = CopyOf<IPolyhedronDataCfg, CPolyhedronDataCfg>(polyhedrons);
    second_ = CopyOf<IPolygonDataCfg, CPolygonDataCfg>(polygons);
}

bool CUserElementDataCfg::TryGetPolyhedronDataCfg(const IPolyhedronDataCfg*& out) const { return Found(first_, out); }

bool CUserElementDataCfg::TryGetPolygonDataCfg(const IPolygonDataCfg*& out) const { return Found(second_, out); }

bool CUserElementDataCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const IUserElementDataCfg*>(&other);
    if (that == nullptr) return false;
    const IPolyhedronDataCfg* polyhedrons = nullptr;
    const IPolygonDataCfg* polygons = nullptr;
    that->TryGetPolyhedronDataCfg(polyhedrons);
    that->TryGetPolygonDataCfg(polygons);
    return PartsEqual<IRomObject>(first_.get(), polyhedrons) && PartsEqual<IRomObject>(second_.get(), polygons);
}

CElementDataCfg::CElementDataCfg(const IElementDataCfg& source) {
    const IStdElementDataCfg* standard = nullptr;
    const IUserElementDataCfg* user = nullptr;
    source.TryGetStdElementDataCfg(standard);
    source.TryGetUserElementDataCfg(user);
    first_ = CopyOf<IStdElementDataCfg, CStdElementDataCfg>(standard);
    second_ = CopyOf<IUserElementDataCfg, CUserElementDataCfg>(user);
}

bool CElementDataCfg::TryGetStdElementDataCfg(const IStdElementDataCfg*& out) const { return Found(first_, out); }

bool CElementDataCfg::TryGetUserElementDataCfg(const IUserElementDataCfg*& out) const { return Found(second_, out); }

bool CElementDataCfg::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const IElementDataCfg*>(&other);
    if (that == nullptr) return false;
    const IStdElementDataCfg* standard = nullptr;
    const IUserElementDataCfg* user = nullptr;
    that->TryGetStdElementDataCfg(standard);
    that->TryGetUserElementDataCfg(user);
    return PartsEqual<IRomObject>(first_.get(), standard) && PartsEqual<IRomObject>(second_.get(), user);
}

}  // namespace Tervik::Rom::Configuration
