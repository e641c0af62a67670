// Global allocations made so far by this program (see CountingNew.cpp).
#pragma once

long collTestNewCount();

// Allocations since construction.
struct NewCounter {
  long start = collTestNewCount();
  long count() const { return collTestNewCount() - start; }
};
