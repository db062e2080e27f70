#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>
#include <string>

#include "platform/Defaults.h"
#include "platform/linux/FileDescriptor.h"
#include "support/TestPlatform.h"

using namespace zorvane;

namespace {

using namespace std::string_literals;
using Source = ZVReachabilitySource;

constexpr std::uint32_t kDirectly = Source::kReachable | Source::kIsDirect;

std::shared_ptr<ZVReachabilitySource> source() { return makeKernelReachability(std::make_shared<ZVPumpedMainLoop>()); }

bool bringLoopback(bool up) {
  const FileDescriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = up ? IFF_UP : 0;
  return ioctl(any.get(), SIOCSIFFLAGS, &request) == 0;
}

}  // namespace

TEST(KernelReachability, AcceptsAddressesAndPossibleHostNames) {
  for (const std::string& name : {""s, "collector.example.com"s, std::string(253, 'a'), "b\u00FCcher.example"s})
    EXPECT_TRUE(source()->accepts({.hostName = name})) << name;
  for (const std::string& name : {std::string(254, 'a'), "two words"s, "line\n"s, "nul\0nul"s, "del\x7F"s})
    EXPECT_FALSE(source()->accepts({.hostName = name})) << name;
}

// A namespace of the test's own starts with nothing but a loopback interface that is down.
TEST(KernelReachability, NotifiesOfChangesOnTheMainLoopUntilStopped) {
  if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) GTEST_SKIP() << "no network namespaces here";
  const auto loop = std::make_shared<FakeMainLoop>();
  const auto watched = makeKernelReachability(loop);
  int notified = 0;
  int notifiedAnother = 0;
  const auto first = watched->watch([&] { ++notified; });
  const auto second = watched->watch([&] { ++notifiedAnother; });
  ASSERT_TRUE(first != 0 && second != 0 && first != second);
  EXPECT_EQ(watched->flags({.hostName = "localhost"}), 0u);
  EXPECT_EQ(watched->flags({}), 0u);

  ASSERT_TRUE(bringLoopback(true));
  EXPECT_TRUE(loop->runUntil([&] { return notified > 0 && notifiedAnother > 0; }));
  for (const char* name : {"LocalHost", "127.9.9.9", "::1"})
    EXPECT_EQ(watched->flags({.hostName = name}), kDirectly) << name;
  for (const char* name : {"", "localhost.example.com", "2001:db8::1"})
    EXPECT_EQ(watched->flags({.hostName = name}), 0u) << "loopback leads nowhere: " << name;
  EXPECT_EQ(watched->flags({.hostName = {}, .address = {169, 254, 0, 0}}), 0u);

  watched->unwatch(first);
  notified = notifiedAnother = 0;
  ASSERT_TRUE(bringLoopback(false));
  EXPECT_TRUE(loop->runUntil([&] { return notifiedAnother > 0; }));
  EXPECT_EQ(notified, 0);
}
