// Encoding and decoding speed of the "bins11n" primitives and strings through the
// memory streams. Each iteration encodes (or decodes) a batch of kBatch values; the
// bytes/s counter is the encoded size moved per second.
#include <benchmark/benchmark.h>

#include <string>

#include "platform/memory_streams.h"
#include "serialization/bin_serializer.h"

namespace {

constexpr int kBatch = 256;

template <class Write>
void EncodeBatch(benchmark::State& state, Write write) {
  btkMemOStream out;
  for (auto _ : state) {
    out.Clear();
    zubBinSerializer s(&out);
    for (int i = 0; i < kBatch; ++i) write(s, i);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(out.size()));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kBatch);
}

template <class Write, class Read>
void DecodeBatch(benchmark::State& state, Write write, Read read) {
  btkMemOStream out;
  {
    zubBinSerializer s(&out);
    for (int i = 0; i < kBatch; ++i) write(s, i);
  }
  const std::string bytes = out.str();
  btkMemIStream in(bytes);
  for (auto _ : state) {
    in.Reset(bytes.data(), bytes.size());
    zubBinDeserializer d(&in);
    for (int i = 0; i < kBatch; ++i) read(d);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(bytes.size()));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kBatch);
}

auto WriteInt = [](zubSerializer& s, int i) { s.writeInt(i * 7919); };
auto ReadInt = [](zubDeserializer& d) {
  int v;
  d.readInt(v);
  benchmark::DoNotOptimize(v);
};
auto WriteLong = [](zubSerializer& s, int i) { s.writeLong(int64_t{i} << 33); };
auto ReadLong = [](zubDeserializer& d) {
  int64_t v;
  d.readLong(v);
  benchmark::DoNotOptimize(v);
};
auto WriteReal = [](zubSerializer& s, int i) { s.writeReal(i * 0.5); };
auto ReadReal = [](zubDeserializer& d) {
  double v;
  d.readReal(v);
  benchmark::DoNotOptimize(v);
};
auto WriteAnyInt = [](zubSerializer& s, int i) { s.writeAny(xany(xint{i})); };
auto ReadAny = [](zubDeserializer& d) {
  xany v;
  d.readAny(v);
  benchmark::DoNotOptimize(v);
};
auto ReadString = [](zubDeserializer& d) {
  xstring v;
  d.readString(v);
  benchmark::DoNotOptimize(v);
};

// A string of state.range(0) bytes, written kBatch times.
auto StringWriter(benchmark::State& state) {
  xstring text(std::string(static_cast<size_t>(state.range(0)), 'q').c_str());
  return [text](zubSerializer& s, int) { s.writeString(text); };
}

void BM_EncodeInt(benchmark::State& state) { EncodeBatch(state, WriteInt); }
void BM_DecodeInt(benchmark::State& state) { DecodeBatch(state, WriteInt, ReadInt); }
void BM_EncodeLong(benchmark::State& state) { EncodeBatch(state, WriteLong); }
void BM_DecodeLong(benchmark::State& state) { DecodeBatch(state, WriteLong, ReadLong); }
void BM_EncodeReal(benchmark::State& state) { EncodeBatch(state, WriteReal); }
void BM_DecodeReal(benchmark::State& state) { DecodeBatch(state, WriteReal, ReadReal); }
void BM_EncodeTaggedInt(benchmark::State& state) { EncodeBatch(state, WriteAnyInt); }
void BM_DecodeTaggedInt(benchmark::State& state) { DecodeBatch(state, WriteAnyInt, ReadAny); }
void BM_EncodeString(benchmark::State& state) { EncodeBatch(state, StringWriter(state)); }
void BM_DecodeString(benchmark::State& state) {
  DecodeBatch(state, StringWriter(state), ReadString);
}

BENCHMARK(BM_EncodeInt);
BENCHMARK(BM_DecodeInt);
BENCHMARK(BM_EncodeLong);
BENCHMARK(BM_DecodeLong);
BENCHMARK(BM_EncodeReal);
BENCHMARK(BM_DecodeReal);
BENCHMARK(BM_EncodeTaggedInt);
BENCHMARK(BM_DecodeTaggedInt);
// Sizes on both sides of the one-byte and two-byte size prefixes, and of the size above
// which bodies are read in pieces.
BENCHMARK(BM_EncodeString)->Arg(8)->Arg(300)->Arg(70000);
BENCHMARK(BM_DecodeString)->Arg(8)->Arg(300)->Arg(70000);

}  // namespace

BENCHMARK_MAIN();
