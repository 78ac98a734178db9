#include "snapshot/point.hpp"

#include <cmath>
#include <limits>

namespace Tervik::Rom::Snapshot {

using Common::RomException;

bool PointValuesMatch(double a, double b) {
    constexpr double tiny = std::numeric_limits<double>::denorm_min();
    constexpr int digits = 14;
    // Significant digits in common.
    if (a != b) {
        const bool aTiny = -tiny < a && a < tiny;
        const bool bTiny = -tiny < b && b < tiny;
        if (aTiny) {
            if (!bTiny) return false;
        } else if (bTiny) {
            return false;
        } else {
            const double r = std::fabs(a > b ? b / (a - b) : a / (a - b));
            if (r < 1.0) return false;
            // Rounded, the digits in common; a NaN (from infinities) is not at least 14.
            if (!(std::floor(std::log10(r) + 0.5) >= digits)) return false;
        }
    }
    // Relative difference: unequal when it exceeds the epsilon. The same infinity on both
    // sides makes it NaN, which exceeds nothing.
    if (a == 0.0) return b == 0.0;
    return !(std::fabs(1.0 - b / a) > std::numeric_limits<double>::epsilon());
}

void CPoint::Clear() { values_.clear(); }

void CPoint::CopyTo(IUserPoint& target) const {
    if (&target == this) return;
    target.Clear();
    for (const auto& [name, value] : values_) target.SetValue(name, value);
}

bool CPoint::Equals(const IPoint& other) const {
    for (const auto& [name, a] : values_) {
        double b = 0.0;
        if (!other.TryGetValue(name, b) || !PointValuesMatch(a, b)) return false;
    }
    return true;
}

double CPoint::GetValue(const std::string& name) const {
    double value = 0.0;
    if (!TryGetValue(name, value)) throw RomException("The point does not contains the parameter " + name + ".");
    return value;
}

bool CPoint::HasValue(const std::string& name) const { return values_.count(name) != 0; }

void CPoint::SetValue(const std::string& name, double value) { values_[name] = value; }

bool CPoint::TryGetValue(const std::string& name, double& value) const {
    const auto found = values_.find(name);
    if (found == values_.end()) return false;
    value = found->second;
    return true;
}

void CPoint::ToJson(Json::Value& value) const {
    value = Json::Value();
    for (const auto& [name, number] : values_) {
        Json::Value dimension(Json::objectValue);
        dimension["id"] = name;
        dimension["value"] = number;
        value.append(std::move(dimension));
    }
}

void CPoint::FromJson(const Json::Value& value, std::uint32_t) {
    Clear();
    if (value.isNull()) return;
    for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
        const Json::Value& dimension = value[i];
        if (!dimension.isObject() || !dimension.isMember("id"))
            throw RomException("The point is invalid, it contains a dimension without any identifier.");
        if (!dimension.isMember("value"))
            throw RomException("The point is invalid, it contains a dimension without any value.");
        SetValue(dimension["id"].asString(), dimension["value"].asDouble());
    }
}

}  // namespace Tervik::Rom::Snapshot
