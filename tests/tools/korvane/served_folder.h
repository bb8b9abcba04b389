#pragma once

#include <string>
#include <utility>

#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"

namespace korvane::test {

/// The program that serves a fresh folder.
class ServedFolder {
 public:
  /// `environment` is put before the command, such as "NAME=value".
  explicit ServedFolder(const std::string& options = "", const std::string& environment = "")
      : process_(Poco::Process::launch("/bin/sh", {"-c", environment + " " + command(options)},
                                       nullptr, &out_, nullptr)) {
    Poco::PipeInputStream output(out_);
    std::string line;
    std::getline(output, line);
    url_ = line.substr(line.rfind(' ') + 1);
  }
  ServedFolder(const ServedFolder&) = delete;
  ServedFolder& operator=(const ServedFolder&) = delete;
  ~ServedFolder() { stop(); }

  const std::string& url() const { return url_; }
  std::string file(const std::string& name) const { return folder_.file(name); }

  /// What it has logged.
  std::string log() const { return text_of(logs_.file("log")); }

  void stop() {
    if (std::exchange(is_stopped_, true)) return;
    Poco::Process::requestTermination(process_.id());
    EXPECT_EQ(process_.wait(), 0) << text_of(logs_.file("log"));
  }

 private:
  std::string command(const std::string& options) const {
    return std::string("exec ") + KORVANE_PROGRAM + " serve --root " + folder_.path().string() +
           " --listen 127.0.0.1:0 " + options + " 2>" + logs_.file("log");
  }

  TemporaryFolder folder_;
  TemporaryFolder logs_;
  Poco::Pipe out_;
  Poco::ProcessHandle process_;
  std::string url_;
  bool is_stopped_ = false;
};

}  // namespace korvane::test
