#pragma once

#include <memory>

#include "platform/app/service.h"

namespace korvane::test {

/// A new plugin from the factory. Each test program takes it from where it has it.
std::shared_ptr<krv::app::IService> make_plugin();

}  // namespace korvane::test
