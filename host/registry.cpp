#include "host/api/registry.h"

#include <algorithm>
#include <utility>

ScriptInfo::ScriptInfo(int version, FuID class_id, std::string base, std::string help)
    : version_(version),
      class_id_(std::move(class_id)),
      base_(std::move(base)),
      help_(std::move(help)) {}

ScriptInfo::~ScriptInfo() = default;

ClassRegistry& ClassRegistry::Global() {
    static ClassRegistry registry;
    return registry;
}

void ClassRegistry::Add(Registry* record) {
    const std::scoped_lock lock(mutex_);
    records_.push_back(record);
}

void ClassRegistry::Remove(Registry* record) {
    const std::scoped_lock lock(mutex_);
    std::erase(records_, record);
}

std::vector<Registry*> ClassRegistry::Records() const {
    const std::scoped_lock lock(mutex_);
    return records_;
}

Registry::Registry(ClassRegistry& list, FuID id, TagList tags)
    : list_(list), id_(std::move(id)), tags_(std::move(tags)) {
    list_.Add(this);
}

Registry::~Registry() { list_.Remove(this); }
