#include "model/plugins/korvane.model.cad.project/connector.h"

#include <Poco/AutoPtr.h>
#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/SQLite/SessionImpl.h>
#include <Poco/Data/SessionFactory.h>

namespace korvane::model::cad {

namespace {

class OpenOnceConnector : public Poco::Data::SQLite::Connector {
 public:
  Poco::AutoPtr<Poco::Data::SessionImpl> createSession(const std::string& connection_string,
                                                       std::size_t timeout) override {
    const bool looks_like_uri = connection_string.rfind("file:", 0) == 0;
    Poco::AutoPtr<Poco::Data::SQLite::SessionImpl> session(new Poco::Data::SQLite::SessionImpl(
        // coverage: what is destroyed if the session cannot be made; both names are tested
        looks_like_uri ? "./" + connection_string : connection_string, 0));
    session->setConnectionTimeout(timeout);
    return session;
  }
};

/// Registers the connector when the first session is opened, until the process ends. The factory
/// keeps the first connector of a key: the host's, if it has registered one.
void ensure_connector() {
  struct Registration {
    // coverage: memory that fails in the first opening of a process alone
    Registration() { Poco::Data::SessionFactory::instance().add(new OpenOnceConnector); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() {
      Poco::Data::SessionFactory::instance().remove(Poco::Data::SQLite::Connector::KEY);
    }
  };
  // coverage: the same, and two threads that open first at once
  static const Registration registration;
}

}  // namespace

Poco::Data::Session open_session(const std::string& filename, std::size_t lock_timeout_seconds) {
  ensure_connector();
  return Poco::Data::Session(OpenOnceConnector().createSession(filename, lock_timeout_seconds));
}

}  // namespace korvane::model::cad
