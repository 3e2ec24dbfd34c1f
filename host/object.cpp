#include "host/api/object.h"

LuaClass::~LuaClass() = default;

void Object::SetAttrsList(const TagList& /*tags*/) {}
