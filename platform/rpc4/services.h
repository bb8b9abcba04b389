#pragma once

#include <span>

#include "platform/rpc4/operation.h"

namespace krv::rpc4 {

/// The skeletons that plugins can implement, whether a plugin does or not. A host learns of services
/// only here and from the directory.
std::span<const ServiceDefinition* const> service_definitions();

}  // namespace krv::rpc4
