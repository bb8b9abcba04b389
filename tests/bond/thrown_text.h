#pragma once

#include <string>

namespace korvane::test {

/// The text of the exception that `call` throws; "no exception" where it throws none. One of
/// another kind than `Exception` goes on.
template <class Exception, class Call>
std::string thrown_text(Call call) {
  try {
    static_cast<void>(call());
  } catch (const Exception& exception) {
    return exception.what();
  }
  return "no exception";
}

}  // namespace korvane::test
