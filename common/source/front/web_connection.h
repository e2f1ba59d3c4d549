// A connection of the web server's: one request and its reply.
#pragma once

// Gives the peer so many seconds to send its request: then the input ends, wherever it is. One at a
// time; it takes SIGALRM.
class ReadDeadline {
 public:
  ReadDeadline(int descriptor, int seconds);
  ~ReadDeadline();
  ReadDeadline(const ReadDeadline&) = delete;
  ReadDeadline& operator=(const ReadDeadline&) = delete;

  // The request is there.
  void lift();
};

// Takes the next connection of a listening socket that does not block. -1 with errno set; EAGAIN
// when there is none, or another process has taken it.
int acceptConnection(int listener);

// From now on a write waits at most so long for a peer that does not read.
void boundWriting(int connection, int seconds);

// True when the peer has closed: nobody waits for the reply.
bool hasPeerLeft(int descriptor);
