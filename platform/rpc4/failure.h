#pragma once

#include <new>
#include <stdexcept>

/// The kinds of failure that a host tells apart, by which it answers whoever called. They are made
/// by skeletons and services, and cross the libraries' boundaries as what they are.
namespace krv::rpc4 {

/// The call asks for what cannot be done: something is missing in it, or does not fit. Nothing of
/// it was done.
class BadRequest : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The bytes of a request that are not a record of its contract; the text is what decoding said.
class RequestError : public BadRequest {
 public:
  using BadRequest::BadRequest;
};

/// What the call asks for is not there.
class NotFound : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A row of the service's data that no reply can hold: another program wrote it, or it is damaged.
class UnusableRow : public std::out_of_range {
 public:
  using std::out_of_range::out_of_range;
};

/// There was no memory for the record of a request. Nothing of the call was done.
class NoMemoryForRequest : public std::bad_alloc {};

}  // namespace krv::rpc4
