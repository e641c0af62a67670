// The cell this process runs in. A router made of several cells (line-card
// or supervisor groups) numbers them from 1; a machine without cells is
// cell 1. The library reads nothing from the system to learn it: a program
// that runs in another cell says so with cellIdIs() before it mounts.
#pragma once

#include <cstdint>

#include <ipmodel/Orv/Export.h>

namespace Cell {

IPMODEL_API std::uint32_t cellId();
IPMODEL_API void cellIdIs(std::uint32_t id);

}  // namespace Cell
