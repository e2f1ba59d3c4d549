// What one request may cost. docs/limits.md gives the reasons and the measured worst cases.
#pragma once

#include <chrono>
#include <cstddef>

namespace limits {

constexpr std::size_t kMaxBodyBytes = std::size_t{1} << 20;
constexpr unsigned kMaxDepth = 64;              // nested elements
constexpr unsigned kMaxElements = 50000;        // elements of one body
constexpr unsigned kMaxElementAttributes = 64;  // attributes of one element
constexpr unsigned kMaxOpenAttributes = 256;    // attributes of all open elements together

// What the program holds for one request, and the reply as it is sent. From kLargeReply on a reply
// is written twice, the first time to count it, and not kept: memory is dearer than time then.
constexpr std::size_t kMaxMemory = std::size_t{48} << 20;
constexpr std::size_t kMaxReplyBytes = std::size_t{32} << 20;
constexpr std::size_t kLargeReply = std::size_t{1} << 20;

constexpr std::size_t kMaxPattern = 1000;           // characters of a regular expression
constexpr std::chrono::seconds kMaxSearch{1};       // one search of the tree, unless -S says more
constexpr std::chrono::milliseconds kMaxMatch{20};  // one value of it

// Of a refused body this much is read and thrown away, so that the web server can pass our answer
// on instead of reporting a broken connection.
constexpr std::size_t kMaxDrainedBytes = std::size_t{64} << 20;

}  // namespace limits
