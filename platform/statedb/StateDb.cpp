#include "platform/statedb/StateDb.h"

namespace SnmpUtil {
namespace {

std::string& systemName() {
   static std::string* name = new std::string("bridgesnmp");
   return *name;
}

}  // namespace

Kel::Dir& stateRoot() {
   // Not counted and never destroyed: entities mounted here live as long as the process,
   // and registrations hold raw pointers to them.
   static Kel::Dir* root = [] {
      auto* dir = new Kel::Dir();
      dir->notCountedIs(true);
      return dir;
   }();
   return *root;
}

Kel::Ptr<Kel::Entity> getEntityRelative(const char* path) {
   return path ? stateRoot().lookup(path) : nullptr;
}

const std::string& sysname() {
   return systemName();
}

void sysnameIs(std::string name) {
   systemName() = std::move(name);
}

std::string entityPath(const char* path) {
   return "/" + systemName() + "/" + path;
}

}  // namespace SnmpUtil
