// What every fuzz target shares: the registered types, a proxy map that knows exactly
// one host object, and the rule that a reader may only fail by raising a framework
// exception.
#ifndef ZUBJEX_FUZZ_FUZZ_SUPPORT_H_
#define ZUBJEX_FUZZ_FUZZ_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/xobject.h"

namespace zubfuzz {

// The identifier under which the host object travels.
inline constexpr const char* kHostId = "h1";
// The server URL given to the readers.
inline constexpr const char* kServerUrl = "fuzz";

// A host object of the remote interface "ICalc".
class HostCalc : public xobject {
  XOBJECT_DECLARE_RTTI()
};

// Resolves kHostId to one HostCalc that lives as long as the map, and every other
// identifier to nothing, so that a proxy read stays a proxy.
class OneHostObjectMap : public zubJexProxyMap {
 public:
  OneHostObjectMap();
  xstring getObjectId(xrcunihandle<xobject> object) override;
  xrcunihandle<xobject> findObject(const xstring& id) override;
  xobject* host() const { return host_.get(); }

 private:
  xrcunihandle<xobject> host_;
};

// Registers the sequence and calculator types (once) and returns the process-wide map.
OneHostObjectMap& Setup();

// Runs `op`; a raised framework exception is taken over and released, anything else
// propagates (and so ends the run as a finding).
template <class Op>
void IgnoreRaised(Op&& op) {
  try {
    op();
  } catch (xthrowable* thrown) {
    xadoptThrown(thrown);
  }
}

// Prints `what` and both encodings as hex, then aborts.
[[noreturn]] void Fail(const char* what, const std::string& first, const std::string& second);

// Re-encoding what a reader accepted must be stable: `write` turns a record into bytes
// (and may raise, for a record the writer refuses, such as a proxy without id), `read`
// turns bytes into a fresh record and must accept whatever `write` produced, and
// writing that record again must give the same bytes. Aborts the run otherwise.
template <class Write, class Read>
void CheckRewriteIsStable(Write&& write, Read&& read) {
  std::string first;
  try {
    first = write(/*again=*/false);
  } catch (xthrowable* thrown) {
    xadoptThrown(thrown);
    return;
  }
  std::string second;
  try {
    read(first);
    second = write(/*again=*/true);
  } catch (xthrowable* thrown) {
    xadoptThrown(thrown);
    Fail("the reader or writer refused a message the writer made", first, second);
  }
  if (first != second) Fail("writing a record read back gave other bytes", first, second);
}

}  // namespace zubfuzz

#endif  // ZUBJEX_FUZZ_FUZZ_SUPPORT_H_
