// Symbol visibility for the shared library: everything is hidden unless marked.
#pragma once

#if defined(IPMODEL_BUILDING)
#define IPMODEL_API __attribute__((visibility("default")))
#else
#define IPMODEL_API __attribute__((visibility("default")))
#endif
