#include "tests/scenarios/soak/served_program.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <unistd.h>

#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/URI.h>

namespace korvane::test {

namespace {

std::filesystem::path proc(const Poco::ProcessHandle& process, const char* name) {
  return std::filesystem::path("/proc") / std::to_string(process.id()) / name;
}

}  // namespace

ServedProgram::ServedProgram(const Options& options) {
  const std::string limit =
      options.data_limit == 0 ? "" : "ulimit -d " + std::to_string(options.data_limit) + " && ";
  const std::string command = limit + "exec " + options.program +
                              " serve --listen 127.0.0.1:0 --root '" + options.root + "' " +
                              options.arguments + " 2>" + options.log;
  Poco::Pipe output;
  process_ = std::make_unique<Poco::ProcessHandle>(
      Poco::Process::launch("/bin/sh", {"-c", command}, nullptr, &output, nullptr));
  Poco::PipeInputStream lines(output);
  std::string first;
  std::getline(lines, first);
  const std::size_t before_url = first.rfind(' ');
  if (before_url == std::string::npos) {
    process_->wait();
    throw std::runtime_error("the server did not start");
  }
  url_ = first.substr(before_url + 1);
}

ServedProgram::~ServedProgram() {
  if (process_) stop();
}

std::uint16_t ServedProgram::port() const { return Poco::URI(url_).getPort(); }

std::size_t ServedProgram::resident_bytes() const {
  std::ifstream pages(proc(*process_, "statm"));
  std::size_t virtual_pages = 0;
  std::size_t resident_pages = 0;
  pages >> virtual_pages >> resident_pages;
  return resident_pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::size_t ServedProgram::peak_resident_bytes() const {
  std::ifstream status(proc(*process_, "status"));
  const std::string name = "VmHWM:";
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stoul(line.substr(name.size())) * 1024;
  }
  throw std::runtime_error("the server has gone");
}

std::size_t ServedProgram::open_files() const {
  const std::filesystem::directory_iterator files(proc(*process_, "fd"));
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

void ServedProgram::kill() {
  const auto process = std::move(process_);
  Poco::Process::kill(*process);
  process->wait();
}

int ServedProgram::stop() {
  const auto process = std::move(process_);
  Poco::Process::requestTermination(process->id());
  return process->wait();
}

}  // namespace korvane::test
