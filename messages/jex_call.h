// The in-memory record of one remote call: method name, expected return type,
// parameters and the one-way flag. It knows nothing of streams or encoding.
#ifndef ZUBJEX_MESSAGES_JEX_CALL_H_
#define ZUBJEX_MESSAGES_JEX_CALL_H_

#include <utility>

#include "platform/handles.h"
#include "platform/sequences.h"
#include "platform/xany.h"
#include "platform/xobject.h"
#include "platform/xstring.h"
#include "serialization/export.h"

// A call record. The parameter sequences are shared, never copied: a handle passed in
// or obtained from a getter refers to the very sequence that the call will write, so
// changing it changes the call. Both handles are null, or both hold sequences of equal
// length where name i names value i (expected by every user, not enforced). The return
// type is borrowed from the type registry. Not copyable; one thread at a time. No
// operation raises errors of its own.
class ZUBJEX_EXPORT zubJexCall {
 public:
  // A nil name, no return type, null sequences, not one-way.
  zubJexCall();
  zubJexCall(const zubJexCall&) = delete;
  zubJexCall& operator=(const zubJexCall&) = delete;
  ~zubJexCall();

  // Sets all fields at once; the call takes its own reference to each sequence.
  void initialize(xstring name, xrtti* returnType, xrchandle<xstringsequence> paramNames,
                  xrchandle<xanysequence> paramValues, bool isAsync);

  // Appends one parameter, unchecked (duplicates, nil names and values are kept).
  // Without a name sequence both sequences are started afresh (a value sequence held
  // alone is dropped); with names but no values a fresh value sequence is started.
  void addParam(xstring name, xany value);
  // The value of the first parameter of that name; the nil value when there is none
  // (also when no sequence exists). A nil value cannot be told from a missing one.
  xany getParamByName(xstring name);

  xstring getName() const { return name; }
  void setName(xstring value) { name = std::move(value); }
  // The type of the result; null for a method without one.
  xrtti* getReturnType() const { return returnType; }
  void setReturnType(xrtti* value) { returnType = value; }
  // A new reference to the call's sequence, or a null handle.
  xrchandle<xstringsequence> getParamNames() const { return paramNames; }
  void setParamNames(xrchandle<xstringsequence> value) { paramNames = std::move(value); }
  xrchandle<xanysequence> getParamValues() const { return paramValues; }
  void setParamValues(xrchandle<xanysequence> value) { paramValues = std::move(value); }
  // One-way: for a method without a result the client sends and reads no response.
  bool getIsAsync() const { return isAsync; }
  void setIsAsync(bool value) { isAsync = value; }

  // Borrowed views of the fields, for the encoder: valid while the call is unchanged;
  // no reference is taken.
  const xstring& peekName() const { return name; }
  xstringsequence* peekParamNames() const { return paramNames.get(); }
  xanysequence* peekParamValues() const { return paramValues.get(); }

  // Back to the state after construction. The sequences are released, not emptied:
  // other holders still see all their elements.
  void reset();

 private:
  xstring name;
  xrtti* returnType;
  xrchandle<xstringsequence> paramNames;
  xrchandle<xanysequence> paramValues;
  bool isAsync;
};

#endif  // ZUBJEX_MESSAGES_JEX_CALL_H_
