#pragma once
// How a plug-in library makes its tool classes known: static records, built when the host
// loads the library and destroyed when it unloads it.

#include <mutex>
#include <string>
#include <vector>

#include "host/api/object.h"

class Operator;
class Registry;

// A value of the host's scripting language. This host has no scripts: always nil.
class ScriptVal {};

// What the scripting side knows of a class.
class HOST_API ScriptInfo {
  public:
    // `base` is the scripting base class and `help` a text; this host, which has no
    // scripts, keeps both and reads neither.
    ScriptInfo(int version, FuID class_id, std::string base, std::string help);
    ScriptInfo(const ScriptInfo&) = delete;
    ScriptInfo& operator=(const ScriptInfo&) = delete;
    virtual ~ScriptInfo();

    // From the object of a script to the tool behind it, and back.
    virtual LuaClass* ToObject(LuaClass* script) const = 0;
    virtual LuaClass* ToScript(LuaClass* object) const = 0;

    int Version() const { return version_; }
    const FuID& ClassID() const { return class_id_; }

  private:
    int version_;
    FuID class_id_;
    std::string base_;
    std::string help_;
};

// For a class T whose scripts see the tool itself.
template <class T>
class ScriptInfoT : public ScriptInfo {
  public:
    using ScriptInfo::ScriptInfo;
    LuaClass* ToObject(LuaClass* script) const override { return script; }
    LuaClass* ToScript(LuaClass* object) const override { return object; }
};

// Makes a tool instance; null when there is no memory. May throw what the tool's
// constructor throws. The caller owns the tool.
using ToolFactory = Operator*(Registry*, const ScriptVal&, TagList*);
// Called for a class after its library was loaded, where false leaves the class out, and
// before the library is unloaded, where the result does not matter. [the thread that
// loads or unloads]
using RegistryHook = bool(Registry*);

// The host's list of classes, one for the whole process. [any thread]
class HOST_API ClassRegistry {
  public:
    // The list of this process. Never throws.
    static ClassRegistry& Global();

    // Adds a record, which must live until it is removed. Throws std::bad_alloc.
    void Add(Registry* record);
    // Forgets a record; nothing happens when it is not in the list.
    void Remove(Registry* record);
    // All records, borrowed, in the order of registration. Throws std::bad_alloc.
    std::vector<Registry*> Records() const;

  private:
    mutable std::mutex mutex_;
    std::vector<Registry*> records_;
};

// One registered class: in `list` from construction to destruction. Tags:
//   0x60000000 ToolFactory*, 0x60000001 and 0x60000002 RegistryHook*, 0x60000005
//   ScriptInfo*, 0x60000011 FuID* of the base class; 0x30000002 display name, 0x30000003
//   category, 0x30000004 short name, 0x30000005 description, 0x30000007 about text,
//   0x30000008 build date, 0x30000009 company, 0x3000000a help link; 0x10000004 and
//   0x10000017 number of a bitmap resource. Other tags are kept, and shown by Tags().
//   Pointers are borrowed and must live as long as the record. Throws std::bad_alloc.
class HOST_API Registry {
  public:
    template <HOST_TAG_TYPES>
    Registry(ClassRegistry& list, const FuID& id, HOST_TAG_PAIRS)
        : Registry(list, id, HOST_TAG_LIST) {}
    Registry(ClassRegistry& list, FuID id, TagList tags);
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;
    ~Registry();

    const FuID& ID() const { return id_; }
    const TagList& Tags() const { return tags_; }

  private:
    ClassRegistry& list_;
    FuID id_;
    TagList tags_;
};
