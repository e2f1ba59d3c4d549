// Exchange: the bytes of one request and of its reply, whoever is at the other end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Fills `buffer` as far as there are bytes. Returns how many: less than `size` only at the end.
  virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

class ByteSink {
 public:
  virtual ~ByteSink() = default;
  // False when the bytes cannot be sent; then none that follow can.
  virtual bool write(const char* bytes, std::size_t size) = 0;
  // Called once, when the reply is complete.
  virtual void close() = 0;
  // Why a request that takes long should end, or empty: nobody waits for its reply, or others wait
  // for the service. To be asked now and then, not for each item.
  virtual std::string whyEnd() { return {}; }
};

struct Exchange {
  ByteSource* in = nullptr;
  ByteSink* out = nullptr;
  std::uint64_t announcedBytes = 0;  // of the body, as its header says; 0 without one
  std::string encoding;              // of the body, likewise: "gzip"
  std::size_t sentBytes = 0;         // of the reply, its header included
};
