#pragma once

#include <memory>

#include "platform/app/service.h"

namespace korvane::test {

/// A new plugin from the factory, which each test program finds in its own way.
std::shared_ptr<krv::app::IService> make_plugin();

}  // namespace korvane::test
