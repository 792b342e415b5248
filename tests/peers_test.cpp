// The links' far ends, where a test's result hangs on what they do not do.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <thread>
#include <vector>

#include "peers/channel.h"
#include "peers/waiting.h"

namespace {

TEST(Channel, PausedTakesNothingInWhileItHasOutput) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  ASSERT_EQ(write(ends[1], "what waits", 10), 10);
  fcntl(ends[0], F_SETFL, O_NONBLOCK);
  Channel channel{platform::Descriptor(ends[0])};
  channel.Paused = true;
  channel.Send(std::string(10'000'000, '-'));  // more than the link holds, so that the channel waits for room
  std::size_t taken = 0;
  std::thread far_end([&] {
    std::vector<char> buffer(1'000'000);
    while (taken < 10'000'000) taken += static_cast<std::size_t>(read(ends[1], buffer.data(), buffer.size()));
    close(ends[1]);
  });
  EXPECT_TRUE(WaitFor([&] { return channel.Unsent() == 0; }));
  far_end.join();
  channel.Send("refused");
  EXPECT_FALSE(WaitFor([&] { return channel.Ended || !channel.Received.empty(); }, std::chrono::milliseconds(20)));
  channel.Paused = false;
  EXPECT_TRUE(WaitFor([&] { return channel.Ended; }));
  EXPECT_EQ(channel.Received, "what waits");
}

}  // namespace
