// The whole public interface of the ipmodel library.
#pragma once

#include <ipmodel/Orv/Orv.h>
