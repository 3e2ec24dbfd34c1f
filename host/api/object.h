#pragma once
// The root of the host's classes, with reference counting, and owning pointers to them.

#include <atomic>
#include <cstdint>
#include <memory>

#include "host/api/export.h"
#include "host/api/tag_list.h"

// What the host's scripting side can hold.
class HOST_API LuaClass {
  public:
    LuaClass() = default;
    LuaClass(const LuaClass&) = delete;
    LuaClass& operator=(const LuaClass&) = delete;
    virtual ~LuaClass();
};

// The next two add nothing here; the host's chain of base classes has them.
class HOST_API ScriptObject : public LuaClass {};

// The underscore is the host's: its class chain has this name.
class HOST_API _Object : public ScriptObject {};  // NOLINT(bugprone-reserved-identifier)

// Counts its owners. A new object has one, its maker; the last Release deletes it.
// AddRef and Release may be called from any thread.
class HOST_API RefObject : public _Object {
  public:
    void AddRef() const noexcept { owners_.fetch_add(1, std::memory_order_relaxed); }
    void Release() const noexcept {
        if (owners_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }

  private:
    mutable std::atomic<std::int32_t> owners_ = 1;
};

// An object with attributes.
class HOST_API Object : public RefObject {
  public:
    // Changes attributes of the object: pairs closed by 0. The comment on a class says
    // which tags it knows; others are ignored. Throws std::bad_alloc. [any thread]
    template <HOST_TAG_TYPES>
    void SetAttrs(HOST_TAG_PAIRS) {
        SetAttrsList(HOST_TAG_LIST);
    }

  protected:
    virtual void SetAttrsList(const TagList& tags);
};

// Owns one reference, and releases it.
struct ReleaseReference {
    void operator()(const RefObject* object) const noexcept { object->Release(); }
};
template <class T>
using Owned = std::unique_ptr<T, ReleaseReference>;

// One more owner of `object`, which may be null.
template <class T>
Owned<T> Shared(T* object) {
    if (object) object->AddRef();
    return Owned<T>(object);
}
