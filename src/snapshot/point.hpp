// The parameter point.
#ifndef TERVIK_ROM_SRC_SNAPSHOT_POINT_HPP
#define TERVIK_ROM_SRC_SNAPSHOT_POINT_HPP

#include <map>
#include <string>

#include <tervik/rom/snapshot.hpp>

#include "common/json.hpp"

namespace Tervik::Rom::Snapshot {

// Significant-digits and relative test of one parameter value a against b.
bool PointValuesMatch(double a, double b);

class CPoint : public IUserPoint, public Common::JsonService {
public:
    void Clear() override;
    void CopyTo(IUserPoint& target) const override;
    bool Equals(const IPoint& other) const override;
    double GetValue(const std::string& name) const override;
    bool HasValue(const std::string& name) const override;
    void SetValue(const std::string& name, double value) override;
    bool TryGetValue(const std::string& name, double& value) const override;

    // An array of {"id", "value"} objects in name order; null when empty.
    void ToJson(Json::Value& value) const override;
    void FromJson(const Json::Value& value, std::uint32_t version = 1) override;

private:
    std::map<std::string, double> values_;
};

}  // namespace Tervik::Rom::Snapshot

#endif
