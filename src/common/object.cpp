#include <utility>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "common/identifiable.hpp"

namespace Tervik::Rom::Common {

std::string NewUuid() {
    // One generator per thread, seeded once from the system's entropy source.
    thread_local boost::uuids::random_generator_mt19937 generator;
    return boost::uuids::to_string(generator());
}

const std::string& CIdentifiable::GetInternalId() const {
    if (id_.empty() && !idSet_) id_ = NewUuid();
    return id_;
}

void CIdentifiable::SetInternalId(const std::string& id) {
    id_ = id;
    idSet_ = true;
}

void CIdentifiable::InternalIdToJson(Json::Value& value) const { value["internalId"] = GetInternalId(); }

void CIdentifiable::InternalIdFromJson(const Json::Value& value) {
    if (value.isMember("internalId")) SetInternalId(value["internalId"].asString());
}

const std::string& CIdentifiableBySolver::GetSolverId() const { return solverId_; }

std::atomic<std::uint64_t>& SolverIdGeneration() {
    static std::atomic<std::uint64_t> generation{0};
    return generation;
}

void CIdentifiableBySolver::SetSolverId(const std::string& solverId) {
    solverId_ = solverId;
    SolverIdGeneration().fetch_add(1, std::memory_order_relaxed);
}

void CIdentifiableBySolver::SolverIdToJson(Json::Value& value) const { value["solverId"] = solverId_; }

void CIdentifiableBySolver::SolverIdFromJson(const Json::Value& value) {
    if (value.isMember("solverId")) SetSolverId(value["solverId"].asString());
}

CSolverIdentifier::CSolverIdentifier(std::string id) : id_(std::move(id)) {}

const std::string& CSolverIdentifier::GetId() const { return id_; }

bool CSolverIdentifier::Equals(const IRomObject& other) const {
    const auto* that = dynamic_cast<const ISolverIdentifier*>(&other);
    return that != nullptr && that->GetId() == id_;
}

void CSolverIdentifier::ToJson(Json::Value& value) const { value = id_; }

void CSolverIdentifier::FromJson(const Json::Value& value, std::uint32_t) { id_ = value.asString(); }

}  // namespace Tervik::Rom::Common
