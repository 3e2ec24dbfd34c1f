#include "host/api/tag_list.h"

TagList::TagList(std::initializer_list<TagPair> pairs) {
    for (const TagPair& pair : pairs) {
        if (pair.tag == 0) return;
        pairs_.push_back(pair);
    }
}

void TagList::Append(const TagList& more) {
    pairs_.insert(pairs_.end(), more.pairs_.begin(), more.pairs_.end());
}

const TagPair* TagList::Find(Tag tag) const {
    for (const TagPair& pair : pairs_) {
        if (pair.tag == tag) return &pair;
    }
    return nullptr;
}

std::int32_t TagList::Integer(Tag tag, std::int32_t fallback) const {
    const TagPair* pair = Find(tag);
    return pair ? std::get<std::int32_t>(pair->value) : fallback;
}

double TagList::Number(Tag tag, double fallback) const {
    const TagPair* pair = Find(tag);
    return pair ? std::get<double>(pair->value) : fallback;
}

std::string TagList::Text(Tag tag) const {
    const TagPair* pair = Find(tag);
    return pair ? std::get<std::string>(pair->value) : std::string();
}

FuID TagList::ID(Tag tag) const {
    const TagPair* pair = Find(tag);
    return pair ? std::get<FuID>(pair->value) : FuID();
}
