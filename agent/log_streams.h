// Log streams that never stop the agent.
//
// The agent logs with printf and fprintf(stderr, ...) everywhere.  When
// standard output or error is a pipe that nobody reads, a plain write
// blocks the one thread once the pipe is full, and once the reader has gone
// it raises SIGPIPE.  These streams take the place of stdout and stderr: a
// line that the descriptor cannot take at once is dropped and counted, and
// the next line that gets through is preceded by one line that gives the
// count:
//
//   snmpd: 1234 lines dropped: standard error could not take them
//
// Lines that do get through are written unchanged.  The descriptor's file
// status flags are not touched: it is often shared with the parent (a
// shell, a supervisor), which must not find it non-blocking.
#ifndef AGENT_LOG_STREAMS_H_
#define AGENT_LOG_STREAMS_H_

#include <cstdio>

// Ignores SIGPIPE and replaces stdout and stderr with line-buffered
// streams over descriptors 1 and 2 that never block.  Call once, before
// anything is written.  false (and nothing changed but SIGPIPE) when a
// stream cannot be created.
bool installLogStreams();

// A line-buffered stream over fd that never blocks (see above); name is
// what the count line calls it ("standard error").  The stream owns
// neither fd nor name: fclose leaves fd open.  Null when it cannot be
// created.
std::FILE* openLogStream(int fd, const char* name);

#endif  // AGENT_LOG_STREAMS_H_
