#pragma once

namespace krv::rpc4 {

/// The forms in which a record crosses a network.
enum class Representation { json, compact_binary };

}  // namespace krv::rpc4
