#include "client/deadline.h"  // zubJexDeadline

#include <chrono>

#include "client/jex_client.h"   // zubJexClient
#include "platform/sequences.h"  // xanysequence

void CallWithin200Ms(const char* server, xrchandle<xanysequence> params) {
  zubJexDeadline deadline(std::chrono::milliseconds(200));
  xany sum = zubJexClient::getInstance(server)->makeCall("ICalc", "add", params);
}
