#pragma once

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

#include "platform/kel/Object.h"

namespace Kel {

// Counted reference to a Kel::Object. Ptr<const T> is the read-only form; a
// Ptr<T> converts to Ptr<const T> and to a Ptr of any base class.
template <class T>
class Ptr {
 public:
   using element_type = T;

   Ptr() noexcept = default;
   Ptr(std::nullptr_t) noexcept {}
   Ptr(T* object) noexcept : p_(object) { retain(); }
   Ptr(const Ptr& other) noexcept : p_(other.p_) { retain(); }
   Ptr(Ptr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
   template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
   Ptr(const Ptr<U>& other) noexcept : p_(other.get()) {
      retain();
   }
   template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
   Ptr(Ptr<U>&& other) noexcept : p_(other.release()) {}
   ~Ptr() { releaseRef(); }

   Ptr& operator=(Ptr other) noexcept {
      std::swap(p_, other.p_);
      return *this;
   }

   T* get() const noexcept { return p_; }
   T* operator->() const noexcept { return p_; }
   T& operator*() const noexcept { return *p_; }
   explicit operator bool() const noexcept { return p_ != nullptr; }

   // Gives up ownership without dropping the reference.
   T* release() noexcept { return std::exchange(p_, nullptr); }

   friend bool operator==(const Ptr& a, const Ptr& b) noexcept { return a.p_ == b.p_; }
   friend bool operator==(const Ptr& a, std::nullptr_t) noexcept { return a.p_ == nullptr; }

 private:
   void retain() const noexcept {
      if (p_) {
         static_cast<const Object*>(p_)->newRef();
      }
   }
   void releaseRef() noexcept {
      if (p_) {
         static_cast<const Object*>(std::exchange(p_, nullptr))->delRef();
      }
   }

   T* p_ = nullptr;
};

// Run-time checked down-cast: null when the object is not a T.
template <class T, class U>
Ptr<T> ptrCast(const Ptr<U>& p) {
   return Ptr<T>(dynamic_cast<T*>(p.get()));
}

// Creates a counted object.
template <class T, class... Args>
Ptr<T> make(Args&&... args) {
   return Ptr<T>(new T(std::forward<Args>(args)...));
}

template <class T>
struct IsPtr : std::false_type {};
template <class T>
struct IsPtr<Ptr<T>> : std::true_type {};
template <class T>
inline constexpr bool isPtr = IsPtr<T>::value;

}  // namespace Kel

template <class T>
struct std::hash<Kel::Ptr<T>> {
   std::size_t operator()(const Kel::Ptr<T>& p) const noexcept { return std::hash<T*>()(p.get()); }
};
