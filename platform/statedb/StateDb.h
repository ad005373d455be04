#pragma once

#include <string>

#include "platform/kel/Ptr.h"
#include "platform/kel/String8.h"
#include "platform/statedb/Dir.h"

namespace SnmpUtil {

// The process's state database: the directory that relative paths start from. Its
// printed form is "/<sysname>/", the system name being configurable.
Kel::Dir& stateRoot();

// The entity mounted at `path` relative to the state root ("Statedb/bridging/config"),
// or null.
Kel::Ptr<Kel::Entity> getEntityRelative(const char* path);

const std::string& sysname();
void sysnameIs(std::string name);
// "/<sysname>/<path>", as trace texts print an entity's place.
std::string entityPath(const char* path);

}  // namespace SnmpUtil
