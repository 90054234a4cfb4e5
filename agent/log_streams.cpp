#include "agent/log_streams.h"

#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdint>
#include <string>

namespace {

// A pipe that polls writable takes this much in one write without
// blocking; longer text goes in pieces, each after its own poll.
constexpr size_t kPiece = PIPE_BUF;
// Room for the count line.
constexpr size_t kNoteSize = 128;

struct Sink {
  int fd;
  const char* name;
  bool socket;           // send(MSG_DONTWAIT) needs no poll first
  bool cut = false;      // text was cut short: the next output starts a line
  uint64_t dropped = 0;  // lines dropped since the last count line
};

// Writes as much of data as fd takes at once; returns how much that was.
size_t putNow(Sink& s, const char* data, size_t len) {
  size_t done = 0;
  while (done < len) {
    const size_t n = std::min(len - done, kPiece);
    ssize_t r;
    if (s.socket) {
      r = ::send(s.fd, data + done, n, MSG_DONTWAIT | MSG_NOSIGNAL);
    } else {
      pollfd p{s.fd, POLLOUT, 0};
      if (::poll(&p, 1, 0) != 1 || !(p.revents & POLLOUT)) break;
      r = ::write(s.fd, data + done, n);
    }
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) break;  // full after all, or the reader has gone (EPIPE)
    done += static_cast<size_t>(r);
  }
  return done;
}

uint64_t lineCount(const char* data, size_t len) {
  return static_cast<uint64_t>(std::count(data, data + len, '\n'));
}

ssize_t writeSink(void* cookie, const char* data, size_t len) {
  Sink& s = *static_cast<Sink*>(cookie);
  // What must go first (the end of a line cut short, the count of lines
  // dropped) goes in the same write as the text, so that it cannot get
  // through while the text does not.
  std::string joined;
  if (s.cut) joined = "\n";
  if (s.dropped > 0) {
    char note[kNoteSize];
    const int n = std::snprintf(note, sizeof note,
                                "snmpd: %" PRIu64 " lines dropped: %s could not take them\n",
                                s.dropped, s.name);
    joined.append(note, std::min(static_cast<size_t>(std::max(n, 0)), sizeof note - 1));
  }
  const size_t head = joined.size();
  if (head > 0) joined.append(data, len);
  const char* text = head > 0 ? joined.data() : data;
  const size_t total = head + len;
  const size_t done = putNow(s, text, total);
  if (done > 0) s.cut = text[done - 1] != '\n';
  if (done >= head) s.dropped = 0;  // the count went out
  if (done < total) {
    // Lines not written to their end are dropped (a text without a line
    // break counts as one).
    const size_t written = done > head ? done - head : 0;
    const uint64_t lines = std::max<uint64_t>(lineCount(data, len), 1);
    s.dropped += lines - std::min(lines, lineCount(data, written));
  }
  // Dropped text counts as written: the stream never enters an error state.
  return static_cast<ssize_t>(len);
}

int closeSink(void* cookie) {
  delete static_cast<Sink*>(cookie);
  return 0;
}

}  // namespace

std::FILE* openLogStream(int fd, const char* name) {
  struct stat st;
  const bool socket = ::fstat(fd, &st) == 0 && S_ISSOCK(st.st_mode);
  Sink* sink = new Sink{fd, name, socket};
  cookie_io_functions_t io{};
  io.write = writeSink;
  io.close = closeSink;
  std::FILE* f = ::fopencookie(sink, "w", io);
  if (!f) {
    delete sink;
    return nullptr;
  }
  // Lines leave as they are finished, so logs can be read live.
  std::setvbuf(f, nullptr, _IOLBF, BUFSIZ);
  return f;
}

bool installLogStreams() {
  // A reader that went away makes writes fail with EPIPE instead.
  std::signal(SIGPIPE, SIG_IGN);
  std::FILE* out = openLogStream(STDOUT_FILENO, "standard output");
  std::FILE* err = openLogStream(STDERR_FILENO, "standard error");
  if (!out || !err) {
    if (out) std::fclose(out);
    if (err) std::fclose(err);
    return false;
  }
  std::fflush(stdout);
  std::fflush(stderr);
  stdout = out;
  stderr = err;
  return true;
}
