// Runtime of generated model code. Generated classes call these templates,
// so each attribute costs a few generated lines: the shared mechanics of
// generic access, instantiating collections and value-type collections live
// here once.
#pragma once

#include <cstdint>
#include <cstdio>
#include <limits>
#include <ostream>
#include <string>
#include <tuple>
#include <type_traits>

#include <ipmodel/Orv/AllocTrack.h>
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Attr.h>
#include <ipmodel/Orv/Collections.h>
#include <ipmodel/Orv/Entity.h>
#include <ipmodel/Orv/Enum.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/NboAttrLog.h>
#include <ipmodel/Orv/Ptr.h>
#include <ipmodel/Orv/Strep.h>
#include <ipmodel/Orv/String.h>
#include <ipmodel/Orv/Type.h>
#include <ipmodel/Orv/ValueType.h>

namespace Orv {

namespace frame {

// --- generic attribute access ---------------------------------------------

// Key, constant and read-only computed attributes: get only.
template <class T>
int attrGet(AttrOp op, AttrArg& a, const T& v) {
  if (op != AttrOp::get) return 1;
  a.value = v;
  return 0;
}

// Stored, pointer and writable computed attributes.
template <class T, class Set>
int attrStored(AttrOp op, AttrArg& a, const T& current, Set&& set) {
  if (op == AttrOp::get) {
    a.value = current;
    return 0;
  }
  if (op == AttrOp::set) {
    set(a.value.as<T>());
    return 0;
  }
  return 1;
}

namespace detail {
template <class C>
void collQuery(AttrOp op, AttrArg& a, const C& c) {
  if (op == AttrOp::collCount) {
    a.count = c.size();
  } else {
    a.keys.clear();
    for (auto it = c.begin(); it != c.end(); ++it) a.keys.emplace_back(it.key());
  }
}
}  // namespace detail

// Collections. get(key) returns the member (found = the key is present);
// set(arg) performs collSet from the argument (the key, value or both, as the
// collection's kind takes them) and returns false when collSet does not apply.
template <class K, class C, class Get, class Set, class Del, class DelAll>
int attrColl(AttrOp op, AttrArg& a, const C& c, Get&& get, Set&& set, Del&& del, DelAll&& delAll) {
  switch (op) {
    case AttrOp::collGet: {
      const K& k = a.key.as<K>();
      a.found = c.find(k) != nullptr;
      a.value = get(k);
      return 0;
    }
    case AttrOp::collSet:
      return set(a) ? 0 : 1;
    case AttrOp::collDel:
      a.value = del(a.key.as<K>());
      return 0;
    case AttrOp::collDelAll:
      delAll();
      return 0;
    case AttrOp::collCount:
    case AttrOp::collKeys:
      detail::collQuery(op, a, c);
      return 0;
    default:
      return 1;
  }
}

// --- collection members ---------------------------------------------------

// Stores v under k: inserts when k is absent, assigns when the stored value
// differs. Returns whether the collection changed (the caller then notifies).
// check(old) runs on a stored value about to be replaced.
template <class C, class K, class V, class Check>
bool collIs(C& c, const K& k, const V& v, Check&& check) {
  if (auto* p = c.find(k)) {
    if (*p == v) return false;
    check(*p);
    *p = v;
    return true;
  }
  c.insert(k, v);
  return true;
}
template <class C, class K, class V>
bool collIs(C& c, const K& k, const V& v) {
  return collIs(c, k, v, [](const V&) {});
}

// Removes the member under k and returns its value (a set answers whether
// it was there); when there was one, calls removed() while the value is still
// held. Absent: the value type's default, and nobody is called.
template <class Map, class K, class Removed>
auto collDel(Map& c, const K& k, Removed&& removed) {
  using V = typename Map::mapped_type;
  if constexpr (std::is_same_v<V, Unit>) {
    if (!c.extract(k)) return false;
    removed();
    return true;
  } else {
    auto r = c.extract(k);
    if (!r) return V();
    removed();
    return V(r.value());
  }
}

// Removes every member, calling removed(key) for each (Map::delAll's walk).
// owner is kept alive through the walk: a handler may drop the last outside
// reference to it.
template <class Owner, class Map, class Removed>
void collDelAll(const Owner& owner, Map& c, Removed&& removed) {
  const Ptr<const Owner> keep(&owner);
  c.delAll([&](const auto& k, auto&) { removed(k); });
}

// --- instantiating collections -------------------------------------------

namespace detail {
template <class E>
void orphan(E& e) {
  e.parentIs(nullptr);
}
template <class E>
void orphan(Ptr<E>& e) {
  e->parentIs(nullptr);
}
}  // namespace detail

// collDel and collDelAll for a collection of entities its owner created:
// a removed member no longer has a parent.
template <class K, class E, class KeyOf, class Removed>
Ptr<E> memberDel(HashMap<K, E, KeyOf>& c, const K& k, Removed&& removed) {
  Ptr<E> r = c.extract(k);
  if (!r) return r;
  r->parentIs(nullptr);
  removed();
  return r;
}
template <class K, class E, class Removed>
Ptr<E> memberDel(RbTreeMap<K, Ptr<E>>& c, const K& k, Removed&& removed) {
  auto r = c.extract(k);
  if (!r) return Ptr<E>();
  r.value()->parentIs(nullptr);
  removed();
  return r.value();
}
template <class Owner, class Map, class Removed>
void memberDelAll(const Owner& owner, Map& c, Removed&& removed) {
  const Ptr<const Owner> keep(&owner);
  c.delAll([&](const auto& k, auto& v) {
    detail::orphan(v);
    removed(k);
  });
}

// The member under k of an instantiating collection, or null.
template <class K, class E, class KeyOf>
E* member(HashMap<K, E, KeyOf>& c, const K& k) {
  return c.find(k);
}
template <class K, class E>
E* member(RbTreeMap<K, Ptr<E>>& c, const K& k) {
  Ptr<E>* p = c.find(k);
  return p ? p->ptr() : nullptr;
}

[[noreturn]] IPMODEL_API void reinstantiateFail(const Entity& member, const char* attr,
                                                const String& passed, const String& current);

// Throws NameInUseException when a further constructor parameter differs
// from the member's.
template <class T>
void checkReinstantiate(const Entity& member, const char* attr, const T& current, const T& passed) {
  if (!(current == passed)) {
    reinstantiateFail(member, attr, valueToStrep(passed), valueToStrep(current));
  }
}

// Clears the parent of every member an entity's instantiating collection
// holds, before the collection lets go of them (members may live on).
template <class K, class E, class KeyOf>
void orphanAll(HashMap<K, E, KeyOf>& c) {
  for (E& e : c) e.parentIs(nullptr);
}
template <class K, class E>
void orphanAll(RbTreeMap<K, Ptr<E>>& c) {
  for (auto it = c.begin(); it != c.end(); ++it) it.value()->parentIs(nullptr);
}

// --- enumerations in attribute logs ----------------------------------------

IPMODEL_API std::uint32_t enumRead(NboAttrLog::In& in, const TypeDesc& t);

// The operations of a generated enumeration E with descriptor d, typed:
// each passes d to the EnumType operation of the same purpose.
template <class E>
E enumInstance(const TypeDesc& d, unsigned v) {
  return static_cast<E>(EnumType::instance(d, v));
}
template <class E>
E enumInstance(const TypeDesc& d, const String& s) {
  return static_cast<E>(EnumType::instance(d, s));
}
template <class E>
String enumString(const TypeDesc& d, E v) {
  return EnumType::stringValue(d, static_cast<std::uint32_t>(v));
}
template <class E>
const char* enumSequence(const TypeDesc& d, const char* begin, const char* end, E* out) {
  *out = static_cast<E>(EnumType::sequenceToValue(d, begin, end));
  return end;
}
template <class E>
NboAttrLog::Out& enumWrite(NboAttrLog::Out& o, E v) {
  o.writeU32(static_cast<std::uint32_t>(v));
  return o;
}
template <class E>
NboAttrLog::In& enumRead(NboAttrLog::In& i, const TypeDesc& d, E& v) {
  v = static_cast<E>(enumRead(i, d));
  return i;
}

}  // namespace frame
}  // namespace Orv
