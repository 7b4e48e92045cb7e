#include <iostream>

#include "calc.jex.h"             // CalcError (generated from examples/calc/calc.jex)
#include "client/jex_client.h"    // zubJexClient
#include "messages/jex_call.h"    // zubJexCall
#include "platform/exceptions.h"  // xthrowable, xadoptThrown, zubXException

void CallAndCatch(const char* server, zubJexCall& call) {
  try {
    xany v = zubJexClient::getInstance(server)->makeCall(&call);
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> error = xadoptThrown(t);
    if (CalcError* e = CalcError::softcast(error.get())) {  // the server's own exception
      std::cerr << "the server refused: " << e->message << "\n";
    } else if (zubXException* x = zubXException::softcast(error.get())) {
      // a zubXSerialization "JEX Client Error: <text>." with the cause, if any
      std::cerr << x->getDescription().CastToCString() << "\n";
    }
  }
}
