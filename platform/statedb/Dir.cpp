#include "platform/statedb/Dir.h"

#include <vector>

#include "platform/kel/Exception.h"

namespace Kel {
namespace {

std::vector<std::string_view> components(std::string_view path) {
   std::vector<std::string_view> parts;
   while (!path.empty()) {
      const auto slash = path.find('/');
      parts.push_back(path.substr(0, slash));
      if (slash == std::string_view::npos) {
         break;
      }
      path.remove_prefix(slash + 1);
   }
   return parts;
}

}  // namespace

void Dir::mount(std::string_view path, const ::Kel::Ptr<Entity>& entity) {
   const auto parts = components(path);
   if (parts.empty()) {
      throw Exception("cannot mount at an empty path");
   }
   Dir* dir = this;
   for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
      if (parts[i].empty()) {
         throw Exception("empty component in state path '" + std::string(path) + "'");
      }
      ::Kel::Ptr<Entity> next = dir->entry(String8(parts[i]));
      if (!next) {
         next = new Dir();
         dir->entryIs(String8(parts[i]), next);
      }
      dir = dynamic_cast<Dir*>(next.get());
      if (!dir) {
         throw Exception("'" + std::string(parts[i]) + "' in state path '" + std::string(path) +
                         "' is not a directory");
      }
   }
   if (parts.back().empty()) {
      throw Exception("empty component in state path '" + std::string(path) + "'");
   }
   dir->entryDel(String8(parts.back()));
   if (entity) {
      dir->entryIs(String8(parts.back()), entity);
   }
}

void Dir::unmount(std::string_view path) {
   mount(path, nullptr);
}

::Kel::Ptr<Entity> Dir::lookup(std::string_view path) const {
   const auto parts = components(path);
   const Dir* dir = this;
   ::Kel::Ptr<Entity> found;
   for (std::size_t i = 0; i < parts.size(); ++i) {
      if (!dir) {
         return nullptr;
      }
      const ::Kel::Ptr<Entity>* e = dir->entryCollection().find(String8(parts[i]));
      if (!e) {
         return nullptr;
      }
      found = *e;
      dir = dynamic_cast<const Dir*>(found.get());
   }
   return found;
}

}  // namespace Kel
