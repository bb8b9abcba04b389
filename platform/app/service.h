#pragma once

#include <memory>

namespace krv::app {

/// What a model server drives: a plugin's one object. The host delivers no call beside `start` or
/// `stop`, and releases the object before it unloads the library that made it.
class IService {
 public:
  virtual ~IService() = default;
  virtual void start() = 0;
  virtual void stop() = 0;
};

/// The plugin record: a library exports one pointer to such a function, under a name of its own,
/// alone in the section `modsvc`. Each call makes a new, unstarted service that the caller owns.
using ServiceFactory = std::shared_ptr<IService> (*)();

/// The section in which a host looks for the record.
inline constexpr const char* kPluginSection = "modsvc";

}  // namespace krv::app
