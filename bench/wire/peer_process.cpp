#include "bench/wire/peer_process.h"

#include <stdexcept>

#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>

namespace korvane::bench::wire {

PeerProcess::PeerProcess(const std::string& program, const std::vector<std::string>& arguments) {
  Poco::Pipe output;
  process_ = std::make_unique<Poco::ProcessHandle>(
      Poco::Process::launch(program, arguments, nullptr, &output, nullptr));
  Poco::PipeInputStream lines(output);
  int port = 0;
  if (!(lines >> port)) {
    process_->wait();
    throw std::runtime_error(program + " did not start");
  }
  port_ = static_cast<std::uint16_t>(port);
}

PeerProcess::~PeerProcess() {
  // Not requestTermination(): a shell that runs this in the background has SIGINT ignored, by the
  // peers as well, which keep nothing.
  Poco::Process::kill(*process_);
  process_->wait();
}

}  // namespace korvane::bench::wire
