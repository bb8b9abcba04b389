#include "tools/korvane/service_manager.h"

#include <atomic>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/korvane/notified.h"

namespace korvane::tools {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

void set(const char* name, const std::string& value) { ::setenv(name, value.c_str(), 1); }

class ManagedService : public testing::Test {
 protected:
  ManagedService() { set("NOTIFY_SOCKET", manager_.path()); }
  ~ManagedService() override {
    for (const char* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID", "LISTEN_FDS",
                                   "LISTEN_PID", "LISTEN_FDNAMES"}) {
      ::unsetenv(name);
    }
  }

  test::NotifySocket manager_;
};

TEST_F(ManagedService, SaysWhatItDoes) {
  const ServiceManager service;
  service.ready("serves a folder");
  EXPECT_EQ(manager_.next(), "READY=1\nSTATUS=serves a folder");
  service.reloading();
  EXPECT_THAT(manager_.next(), StartsWith("RELOADING=1\nMONOTONIC_USEC="));
  service.stopping(std::chrono::seconds(25));
  EXPECT_EQ(manager_.next(), "STOPPING=1\nEXTEND_TIMEOUT_USEC=25000000");
}

TEST_F(ManagedService, StatusStaysOnOneLine) {
  const ServiceManager service;
  service.ready("serves a\nWATCHDOG_USEC=1");
  EXPECT_EQ(manager_.next(), "READY=1\nSTATUS=serves a WATCHDOG_USEC=1");
}

TEST_F(ManagedService, KeepsItsVariablesFromProcessesThatItStarts) {
  set("WATCHDOG_USEC", "1000000");
  set("LISTEN_FDS", "1");
  set("LISTEN_PID", "1");
  const ServiceManager service;
  for (const char* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "LISTEN_FDS", "LISTEN_PID"}) {
    EXPECT_EQ(std::getenv(name), nullptr) << name;
  }
}

TEST_F(ManagedService, WhatIsMeantForAnotherProcessDoesNotCount) {
  set("WATCHDOG_USEC", "1000000");
  set("WATCHDOG_PID", "1");
  set("LISTEN_FDS", "1");
  set("LISTEN_PID", "1");
  const ServiceManager service;
  EXPECT_EQ(service.watchdog(), std::nullopt);
  EXPECT_EQ(service.socket(), std::nullopt);
}

TEST_F(ManagedService, SeveralSocketsAreRefused) {
  set("LISTEN_FDS", "2");
  set("LISTEN_PID", std::to_string(::getpid()));
  EXPECT_THAT([] { ServiceManager(); }, testing::ThrowsMessage<std::runtime_error>(
                                            HasSubstr("was started with 2 sockets: expected one")));
}

TEST_F(ManagedService, WithoutAManagerNothingIsTold) {
  ::unsetenv("NOTIFY_SOCKET");
  const ServiceManager service;
  service.ready("serves");
  EXPECT_EQ(manager_.already(), "");
}

TEST_F(ManagedService, WatchdogHearsFromItAsLongAsItIsAlive) {
  set("WATCHDOG_USEC", "20000");
  const ServiceManager service;
  std::atomic<bool> is_alive = true;
  const Watchdog watchdog(service, [&] { return is_alive.load(); });
  EXPECT_EQ(manager_.next(), "WATCHDOG=1");
  EXPECT_EQ(manager_.next(), "WATCHDOG=1");
  is_alive = false;
  // One may have been on its way.
  ::usleep(50'000);
  while (!manager_.already().empty()) {
  }
  ::usleep(50'000);
  EXPECT_EQ(manager_.already(), "");
}

}  // namespace
}  // namespace korvane::tools
