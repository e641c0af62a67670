// Brings a machine's reactor collection in line with a watched collection: a
// reactor for every entry present, none for a key that has gone. The
// immediate handlers of the family reactors run it when they attach; it calls
// no handler of its own.
#pragma once

#include <type_traits>
#include <vector>

#include <ipmodel/Orv/Entity.h>
#include <ipmodel/Orv/Ptr.h>

namespace IpGen::detail {

// The watched entry an iterator stands on, as a counted pointer: pointer
// collections hold one, instantiating collections hold the entity itself.
template <class It>
auto entryOf(const It& it) {
  using V = std::remove_cvref_t<decltype(it.value())>;
  if constexpr (std::is_base_of_v<Orv::Entity, V>) {
    return Orv::Ptr<const V>(&it.value());
  } else {
    return it.value();
  }
}

template <class Entries, class Reactors, class Add, class Del>
void sweepReactors(const Entries& entries, const Reactors& reactors, Add&& add, Del&& del) {
  for (auto it = entries.begin(); it != entries.end(); ++it) add(entryOf(it));
  std::vector<typename std::remove_cvref_t<decltype(reactors.begin().key())>> gone;
  for (auto it = reactors.begin(); it != reactors.end(); ++it) {
    if (!entries.contains(it.key())) gone.push_back(it.key());
  }
  for (const auto& k : gone) del(k);
}

}  // namespace IpGen::detail
