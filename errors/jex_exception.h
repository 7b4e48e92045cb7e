// The library's internal exception: a worded failure text carried from the place of
// failure to the client's catch blocks, which turn it into what the host receives.
#ifndef ZUBJEX_ERRORS_JEX_EXCEPTION_H_
#define ZUBJEX_ERRORS_JEX_EXCEPTION_H_

#include "platform/xstring.h"
#include "serialization/export.h"

// Always made with `new` and raised as a pointer (`throw zubJEXException*`); whoever
// catches it owns it and deletes it. Not a framework object: it is never caught as an
// `xthrowable*`.
class ZUBJEX_EXPORT zubJEXException {
 public:
  explicit zubJEXException(xstring message);
  zubJEXException(const zubJEXException&) = delete;
  zubJEXException& operator=(const zubJEXException&) = delete;

  // A copy of the text.
  xstring getMessage() const { return message; }

 private:
  xstring message;
};

#endif  // ZUBJEX_ERRORS_JEX_EXCEPTION_H_
