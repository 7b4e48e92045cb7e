#include "messages/jex_proxy.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "examples/calc/calc_types.h"
#include "platform/sequences.h"

namespace {

TEST(JexProxyTest, MarkerIsOneObjectNamedForTheProxyPart) {
  std::vector<xrttiobject*> seen(8, nullptr);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] { seen[i] = zubGetRtti_jexproxy(); });
  }
  for (std::thread& t : threads) t.join();
  for (xrttiobject* m : seen) EXPECT_EQ(m, zubGetRtti_jexproxy());
  EXPECT_TRUE(zubGetRtti_jexproxy()->getName() == "_s11n_jexproxy");
}

TEST(JexProxyTest, CastFindsTheIdentityPartOfProxiesOnly) {
  xrchandle<xanysequence> notAProxy(xanysequence::create());
  EXPECT_EQ(zubS11nCastToJexProxy(notAProxy.get()), nullptr);

  xrchandle<CalcProxy> proxy(new CalcProxy());
  zubS11nJexProxy* identity = zubS11nCastToJexProxy(proxy.get());
  ASSERT_EQ(identity, &proxy->identity());
  identity->setProxyId("first");
  identity->setProxyId("second");
  identity->setServerUrl("calc-server");
  EXPECT_TRUE(proxy->getProxyId() == "second");
  EXPECT_TRUE(proxy->getServerUrl() == "calc-server");
  // An ordinary cast still answers for the proxy's own classes.
  EXPECT_EQ(proxy->castByRtti(CalcProxy::getClassRtti()), proxy.get());
}

}  // namespace
