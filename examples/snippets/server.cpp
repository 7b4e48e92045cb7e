#include "messages/jex_call.h"    // zubJexCall
#include "platform/exceptions.h"  // xthrowException
#include "server/dispatcher.h"    // zubJexDispatcher, zubJexMethodTable
#include "server/tcp_server.h"    // zubJexTcpServer

void Serve(xobject* rootCalc) {
  zubJexMethodTable calc;
  calc.add("add", [](xobject* self, zubJexCall& call) -> xany {
    // Check a value's kind before converting it: a wrong conversion ends the process.
    xany a = call.getParamByName("a"), b = call.getParamByName("b");
    if (a.getKind() != xany_int || b.getKind() != xany_int) xthrowException("add takes two ints");
    int sum = 0;
    if (__builtin_add_overflow(a.toInt(), b.toInt(), &sum)) xthrowException("integer overflow");
    return xint(sum);
  });
  zubJexDispatcher dispatcher;
  dispatcher.addInterface("ICalc", calc);
  dispatcher.setRootObject(rootCalc, "calc");  // clients: getRootObject("ICalc", "calc")
  zubJexTcpServer server(dispatcher);          // 127.0.0.1, a free port; see its options
  server.start();                              // server.address() -> "127.0.0.1:PORT"
}
