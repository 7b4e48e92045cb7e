// Feeds arbitrary bytes, as one client's whole output, to the server's request
// handling: the bytes are split into frames as the TCP server splits them, and each
// message is dispatched to the calculator example. Every request that is not a one-way
// call must get a response that the client's reader reads back; a one-way call must
// get none. The object map is kept small and its clock moves with every frame, so
// that objects are handed out, dropped and called after they were dropped.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "examples/calc/calc_service.h"
#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"
#include "server/dispatcher.h"
#include "transport/frame.h"
#include "transport/frame_reader.h"

namespace {

// Larger frames close the connection (the server's limit is higher; what matters is
// that some frames are refused and a 100 KiB string still fits).
constexpr uint32_t kMaxFrameSize = 512 * 1024;
constexpr size_t kMaxObjects = 3;
constexpr std::chrono::minutes kIdleExpiry(3);

// Whether the message reads as a one-way call, judged without the server's objects.
bool IsOneWayCall(const uint8_t* message, size_t size) {
  zubJexNoHostObjectsMap map;
  zubJexCall call;
  bool oneWay = false;
  zubfuzz::IgnoreRaised([&] {
    btkMemIStream in(message, size);
    zubJEXSerializer::getInstance()->readCall(&in, call, &map, "server");
    oneWay = call.getIsAsync();
  });
  return oneWay;
}

std::string Bytes(const uint8_t* data, size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

// The client's reader must accept the response.
void CheckResponse(const uint8_t* request, size_t requestSize, const btkMemOStream& response) {
  if (response.size() == 0) {
    zubfuzz::Fail("a request got an empty response", Bytes(request, requestSize), "");
  }
  zubJexNoHostObjectsMap map;
  zubJexResponse answer;
  try {
    btkMemIStream in(response.data(), response.size());
    zubJEXSerializer::getInstance()->readResponse(&in, answer, &map, "server");
  } catch (xthrowable* thrown) {
    xadoptThrown(thrown);
    zubfuzz::Fail("the client cannot read the server's response", Bytes(request, requestSize),
                  response.str());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::Setup();
  auto now = std::make_shared<zubJexObjectMapOptions::Clock::time_point>();
  zubJexObjectMapOptions options;
  options.maxObjects = kMaxObjects;
  options.idleExpiry = kIdleExpiry;
  options.now = [now] { return *now; };
  zubJexDispatcher dispatcher(options);
  calcServe(dispatcher, new CalcService("root"));

  zubJexMessageIStream request;
  btkMemOStream response;
  size_t pos = 0;
  while (size - pos >= kZubJexFrameHeaderSize) {
    uint32_t length = zubJexDecodeFrameLength(data + pos);
    pos += kZubJexFrameHeaderSize;
    if (length > kMaxFrameSize || length > size - pos) break;  // the connection ends
    const uint8_t* message = data + pos;
    pos += length;
    request.reset(message, length);
    const bool oneWay = IsOneWayCall(message, length);
    const bool answered = dispatcher.dispatch(&request, response, "fuzz peer");
    if (answered == oneWay) {
      zubfuzz::Fail(oneWay ? "a one-way call got a response" : "a request got no response",
                    Bytes(message, length), response.str());
    }
    if (answered) CheckResponse(message, length, response);
    *now += std::chrono::minutes(1);
  }
  return 0;
}
