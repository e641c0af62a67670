// The object framework in one include.
#pragma once

#include <ipmodel/Orv/AllocTrack.h>
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Attr.h>
#include <ipmodel/Orv/Clock.h>
#include <ipmodel/Orv/Collections.h>
#include <ipmodel/Orv/Entity.h>
#include <ipmodel/Orv/Enum.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Frame.h>
#include <ipmodel/Orv/Hash.h>
#include <ipmodel/Orv/NboAttrLog.h>
#include <ipmodel/Orv/NboAttrLogSa.h>
#include <ipmodel/Orv/Ptr.h>
#include <ipmodel/Orv/Strep.h>
#include <ipmodel/Orv/String.h>
#include <ipmodel/Orv/Trace.h>
#include <ipmodel/Orv/Type.h>
#include <ipmodel/Orv/ValueType.h>
