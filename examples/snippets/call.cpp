#include "client/jex_client.h"       // zubJexClient
#include "messages/jex_call.h"       // zubJexCall
#include "platform/rtti_registry.h"  // zubGetRtti_int
#include "platform/sequences.h"      // xanysequence

void Call() {
  zubJexClient* client = zubJexClient::getInstance("10.1.2.3:7070");
  xrcunihandle<xobject> calc = client->getRootObject("ICalc", "calc");  // no exchange
  zubJexClient::freeInstance(client);  // getRootObject keeps the client: give it back

  xrchandle<xanysequence> params(xanysequence::create());
  params->append(calc.get());  // "this": the target
  params->append(xint(2));
  params->append(xint(3));
  xany sum = zubJexClient::getInstance("10.1.2.3:7070")->makeCall("ICalc", "add", params);

  zubJexCall call;  // a prepared call record
  call.setName("ICalc:divide");
  call.setReturnType(zubGetRtti_int());
  call.addParam("a", xint(84));
  call.addParam("b", xint(2));
  xany q = zubJexClient::getInstance("10.1.2.3:7070")->makeCall(&call);

  call.setIsAsync(true);  // one-way: makeVoidCall sends and reads nothing
}
