// Registration of source-interface records, shared by the IPv4 and the
// generic machines: reference counts, creation of the record for its first
// user (filling its address at once) and removal after its last user.
#pragma once

#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Trace.h>

namespace SrcIntfDetail {

// Every trace line begins with the handler's signature.
#define SRC_TRACE_IN(handle, sig, pieces) ORV_TRACE_FN(handle, 8, sig, sig << pieces)

// A record that cannot be created stops the process, reported at the
// caller's place in its own source file.
template <class Dir, class Fill>
auto registerIn(const Orv::TraceHandle& trace, const char* sig, Dir& dir,
                const Lumen::IntfId& intfId, Fill&& fill,
                const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  SRC_TRACE_IN(trace, sig, ":" << intfId);
  auto sip = dir.sourceIntf(intfId);
  if (!sip) {
    SRC_TRACE_IN(trace, sig, " adding entry " << intfId);
    sip = dir.sourceIntfIs(intfId);
    if (!sip) Orv::assertFail("sip", file, line, sig);
    fill();
  }
  sip->refCntInc(1);
  SRC_TRACE_IN(trace, sig,
               ":"
                   << "Refcnt: " << sip->refCnt());
  return sip;
}

template <class Dir, class Record>
void unregisterIn(const Orv::TraceHandle& trace, const char* sig, Dir& dir, const Record& sip) {
  const Lumen::IntfId intfId = sip->intfId();
  SRC_TRACE_IN(trace, sig, ":" << intfId);
  sip->refCntDec(1);
  SRC_TRACE_IN(trace, sig,
               ":"
                   << "Refcnt: " << sip->refCnt());
  if (sip->refCnt() == 0) {
    SRC_TRACE_IN(trace, sig, "deleting " << intfId << " from collection");
    dir.sourceIntfDel(intfId);
  }
}

}  // namespace SrcIntfDetail
