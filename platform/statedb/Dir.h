#pragma once

#include <string>
#include <string_view>

#include "platform/kel/EntityMacros.h"
#include "platform/kel/RbTreeMap.h"
#include "platform/kel/String8.h"

namespace Kel {

using DirEntryMap = RbTreeMap<String8, Ptr<Entity>>;

// A directory of the state database: named entries, each an entity (possibly another
// directory). Entities are mounted under slash-separated paths relative to a directory.
class Dir : public Entity {
 public:
#define KEL_DIR_MEMBERS(ATTRIBUTE, SHARED, KEY, COLLECTION, NOTIFICATION) \
   COLLECTION(entry, Entry, DirEntryMap)
   KEL_ENTITY(Dir, Entity, "Kel::Dir", KEL_DIR_MEMBERS)
#undef KEL_DIR_MEMBERS

   // Mounts `entity` at `path` ("Statedb/bridging/config"), creating the directories on
   // the way and replacing what was mounted there. Raises Kel::Exception when a path
   // component is empty or names an entity that is not a directory.
   void mount(std::string_view path, const ::Kel::Ptr<Entity>& entity);
   // Removes what is mounted at `path`; nothing if there is nothing.
   void unmount(std::string_view path);
   // The entity at `path`, or null.
   ::Kel::Ptr<Entity> lookup(std::string_view path) const;
};

}  // namespace Kel
