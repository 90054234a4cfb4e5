#include "agent/log_streams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>

namespace {

// Everything that can be read from fd at once.
std::string drain(int fd) {
  std::string out;
  char buf[4096];
  ssize_t n;
  while ((n = ::read(fd, buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
  return out;
}

TEST(LogStream, ALineThePipeCannotTakeIsDroppedCountedAndReportedOnce) {
  int p[2];
  // The test reads without waiting; the stream writes as to any pipe.
  ASSERT_EQ(::pipe2(p, O_NONBLOCK), 0);
  ASSERT_EQ(::fcntl(p[1], F_SETFL, 0), 0);
  const int capacity = ::fcntl(p[1], F_SETPIPE_SZ, 4096);
  ASSERT_EQ(capacity, 4096);
  std::FILE* log = openLogStream(p[1], "the test pipe");
  ASSERT_NE(log, nullptr);

  // A line longer than the pipe is cut where the pipe is full; the lines
  // after it go nowhere until it is read.
  const std::string longLine(6000, 'x');
  std::fprintf(log, "%s\n", longLine.c_str());
  std::fprintf(log, "second\nthird\n");
  EXPECT_EQ(drain(p[0]), std::string(4096, 'x'));
  std::fprintf(log, "fourth\n");
  EXPECT_EQ(drain(p[0]), "\nsnmpd: 3 lines dropped: the test pipe could not take them\nfourth\n");
  std::fprintf(log, "fifth\n");
  EXPECT_EQ(drain(p[0]), "fifth\n");

  // With the reader gone a line is dropped too (SIGPIPE ignored, as the
  // agent does).
  std::signal(SIGPIPE, SIG_IGN);
  ::close(p[0]);
  std::fprintf(log, "sixth\n");
  EXPECT_EQ(std::fflush(log), 0);
  EXPECT_EQ(std::fclose(log), 0);
  ::close(p[1]);
}

}  // namespace
