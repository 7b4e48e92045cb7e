// The memory that one hostile request makes the reference server hold: a legal 16 MiB
// frame holding a call of "ICalc:add" whose parameter values are 16.7 million nils (one
// byte each on the wire, 16 each in memory). The server runs in this process; the
// request goes over a plain TCP connection, and the process's peak resident memory
// (VmHWM, reset through /proc/self/clear_refs where the kernel allows) is reported above
// the baseline taken just before sending, once for one request and once for 8 requests
// at once on 8 connections. The frame itself is built before the baseline.
//
//   bench_hostile_request                 the two measurements (a few seconds)
//   bench_hostile_request --unbudgeted    also decodes the parameter list in this
//                                         process with the decoding budget raised out of
//                                         the way: what the request costs without it
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "examples/calc/calc_service.h"
#include "messages/jex_response.h"
#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/memory_streams.h"
#include "platform/sequences.h"
#include "serialization/bin_serializer.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "transport/frame.h"
#include "transport/frame_reader.h"
#include "transport/socket.h"

namespace {

constexpr uint32_t kFrameLimit = 16u * 1024 * 1024;  // the server's default maxFrameSize

std::string Str(const char* text) {
  const size_t n = std::strlen(text);
  return std::string{'\x01', static_cast<char>(n)} + text;
}

std::string Int32(uint32_t n) {
  return std::string{static_cast<char>(n), static_cast<char>(n >> 8), static_cast<char>(n >> 16),
                     static_cast<char>(n >> 24)};
}

// A sequence object as a tagged value: kind 0A, not null, type name, element count.
std::string SequenceHead(const char* type, uint32_t count) {
  return std::string{'\x0A', '\x00'} + Str(type) + Int32(count);
}

// The parameter values: an xanysequence of `count` nils.
std::string NilList(uint32_t count) {
  return SequenceHead("xanysequence", count) + std::string(count, '\x01');
}

// The whole frame, exactly kFrameLimit message bytes: call tag, method, no return type,
// no parameter names, the nils, one-way flag 00, end byte 0A.
std::string HostileFrame(uint32_t* nils) {
  const std::string head = Str("JEXCall") + Str("ICalc:add") + std::string("\x01\x00", 2) +
                           SequenceHead("xstringsequence", 0);
  const std::string tail("\x00\x0A", 2);
  *nils = kFrameLimit -
          static_cast<uint32_t>(head.size() + tail.size() + SequenceHead("xanysequence", 0).size());
  std::string frame(kZubJexFrameHeaderSize, '\0');
  zubJexEncodeFrameLength(kFrameLimit, reinterpret_cast<uint8_t*>(&frame[0]));
  return frame + head + NilList(*nils) + tail;
}

// A value of /proc/self/status in KiB ("VmHWM", "VmRSS"); -1 when missing.
long StatusKiB(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const size_t n = std::strlen(field);
  while (std::getline(status, line)) {
    if (line.compare(0, n, field) == 0 && line.size() > n && line[n] == ':') {
      return std::stol(line.substr(n + 1));
    }
  }
  return -1;
}

// Resets the peak to the current resident size; false where the kernel does not allow.
bool ResetPeak() {
  std::ofstream clear("/proc/self/clear_refs");
  clear << "5";
  clear.flush();
  return clear.good();
}

// Sends `frame` to the server on a connection of its own and returns the fault text of
// its answer ("<no answer: ...>" when there is none).
std::string Exchange(const std::string& address, const std::string& frame) {
  try {
    zubTcpSocket socket = zubTcpSocket::connect(address, 5000);
    socket.sendAll(frame.data(), frame.size(), zubTcpDeadline::after(60000));
    zubJexFrameReader reader(kFrameLimit);
    if (reader.read(socket, zubTcpDeadline::after(60000), 60000) != zubJexFrameReader::kFrame) {
      return "<no answer: connection closed>";
    }
    btkMemIStream in(reader.message(), reader.messageSize());
    zubJexResponse response;
    zubJexNoHostObjectsMap map;
    zubJEXSerializer::getInstance()->readResponse(&in, response, &map, "bench");
    return response.getFaultString().IsNil() ? "<no fault>"
                                             : response.getFaultString().CastToCString();
  } catch (xthrowable* thrown) {
    xrcunihandle<xthrowable> caught = xadoptThrown(thrown);
    zubXException* e = zubXException::softcast(caught.get());
    return std::string("<no answer: ") +
           (e != nullptr ? e->getDescription().CastToCString() : "error") + ">";
  }
}

// Runs `work` between a baseline and the peak; prints both and what rose above them.
template <class Work>
void Measure(const char* title, Work&& work) {
  const bool reset = ResetPeak();
  const long baseline = StatusKiB(reset ? "VmHWM" : "VmRSS");
  work();
  const long peak = StatusKiB("VmHWM");
  std::printf("%s: peak %.1f MiB above a baseline of %.1f MiB (%s)\n", title,
              (peak - baseline) / 1024.0, baseline / 1024.0,
              reset ? "peak reset before" : "peak not resettable: baseline is the RSS before");
}

void Unbudgeted(const std::string& frame) {
  Measure("the parameter list decoded without a budget", [&] {
    const size_t at = frame.find("xanysequence") - 4;  // the tagged value's start
    btkMemIStream in(frame.data() + at, frame.size() - at);
    zubBinDecodeLimits unlimited;
    unlimited.maxBytesPerByteRead = 1u << 20;
    zubBinDeserializer reader(&in, unlimited);
    xany values;
    reader.readValue(values);
    const xanysequence* list = xanysequence::softcast(values.toObject());
    std::printf("  %d values made\n", list != nullptr ? list->getCount() : -1);
  });
}

}  // namespace

int main(int argc, char** argv) {
  calcRegisterTypes();
  zubJexDispatcher dispatcher;
  calcServe(dispatcher, new CalcService("bench"));
  zubJexTcpServer server(dispatcher);
  server.start();

  uint32_t nils = 0;
  const std::string frame = HostileFrame(&nils);
  std::printf("request: a frame of %zu bytes, a call of ICalc:add with %u nils\n", frame.size(),
              nils);

  std::string fault;
  Measure("one request", [&] { fault = Exchange(server.address(), frame); });
  std::printf("  answer: %s\n", fault.c_str());

  constexpr int kConnections = 8;
  std::vector<std::string> faults(kConnections);
  Measure("8 requests at once on 8 connections", [&] {
    std::vector<std::thread> clients;
    for (int i = 0; i < kConnections; ++i) {
      clients.emplace_back([&, i] { faults[i] = Exchange(server.address(), frame); });
    }
    for (std::thread& t : clients) t.join();
  });
  int same = 0;
  for (const std::string& f : faults) same += f == fault ? 1 : 0;
  std::printf("  answers: %d of %d as above\n", same, kConnections);

  server.stop();
  if (argc > 1 && std::strcmp(argv[1], "--unbudgeted") == 0) Unbudgeted(frame);
  return 0;
}
