#pragma once

#include <stdexcept>
#include <string>

namespace zenloft::wire {

// The body does not follow the framing (bad version, wrong id, truncated at
// the end, a length that runs past the body...).
class DashFramingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A string needs more than 65535 bytes of modified UTF-8: it cannot be framed.
class DashStringTooLongError : public std::length_error {
public:
    using std::length_error::length_error;
};

// Thrown by a DashInput that has run out of bytes while more may still come
// from the network. The caller rewinds and tries again with more data.
struct DashNeedMoreData {};

}  // namespace zenloft::wire
