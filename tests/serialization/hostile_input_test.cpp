#include <gtest/gtest.h>

#include <string>

#include "platform/sequences.h"
#include "s11n_test_types.h"
#include "s11n_test_util.h"

namespace {

using s11ntest::Counted;
using s11ntest::Encode;
using s11ntest::ErrorOf;
using s11ntest::Reader;

// A value that exercises every reading path: primitives of all kinds, short and long
// strings, nil, nested sequences and objects.
std::string RichEncoding() {
  xrchandle<xanysequence> values(xanysequence::create());
  for (xany v : {xany(xint{-5}), xany(xlong{1} << 40), xany(xbyte{3}), xany(xshort{-300}),
                 xany(xbool{1}), xany(xreal{2.5}), xany("text"), xany::Nil(), xany()}) {
    values->append(v);
  }
  values->append(xany(xstring(std::string(300, 'w').c_str())));
  xrchandle<xstringsequence> names(xstringsequence::create());
  names->append("first");
  names->append(xstring());
  values->append(xany(names.get()));
  xrchandle<s11ntest::Node> chain = s11ntest::Chain(3);
  values->append(xany(chain.get()));
  return Encode([&](zubSerializer& s) {
    s.writeAny(xany(values.get()));
    s.writeString("tail");
  });
}

void ReadRich(zubDeserializer& d) {
  xany value;
  d.readAny(value);
  xstring tail;
  d.readString(tail);
}

// Every truncation raises and frees what was made so far. Corrupted bytes are fuzzed in
// the message tests, whose messages go through the same reader.
TEST(HostileInputTest, EveryTruncationRaisesAndFreesWhatWasMade) {
  s11ntest::RegisterTestTypes();
  const int liveBefore = Counted::live;
  const std::string full = RichEncoding();
  Reader whole(full);
  ReadRich(whole.d());
  ASSERT_TRUE(whole.atEnd());
  for (size_t cut = 0; cut < full.size(); ++cut) {
    Reader r(full.substr(0, cut));
    EXPECT_NE(ErrorOf([&] { ReadRich(r.d()); }), "<none>") << "cut at " << cut;
    EXPECT_EQ(Counted::live, liveBefore) << "cut at " << cut;
  }
}

}  // namespace
