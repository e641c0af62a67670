// The object framework in one include.
#pragma once

#include <ipmodel/Orv/AllocTrack.h>
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Hash.h>
#include <ipmodel/Orv/NboAttrLog.h>
#include <ipmodel/Orv/Ptr.h>
