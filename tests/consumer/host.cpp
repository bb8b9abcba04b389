// Serves a folder with the installed plugin, and asks itself for a sheet: consumer_host FOLDER
#include <chrono>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>

#include <Poco/Net/ServerSocket.h>

#include "clients/cpp/remote_project.h"
#include "contracts/cad/sheet.h"
#include "contracts/common/batch.h"
#include "host/access/sql_fence.h"
#include "host/model_server.h"
#include "host/plugins/plugin.h"

namespace {

void serve_and_ask(const std::filesystem::path& folder) {
  using korvane::client::RemoteProject;
  using korvane::model::cad::Sheet;
  korvane::host::install_sql_fence();
  const auto plugins = korvane::host::load_plugins(PLUGIN_FOLDER);
  if (plugins.empty()) throw std::runtime_error("no plugin in " PLUGIN_FOLDER);
  std::filesystem::current_path(folder);
  const Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
  korvane::host::ModelServer server(socket, korvane::host::Gate(std::nullopt, {}),
                                    korvane::host::ProjectRoot("."), {});
  {
    RemoteProject project("http://" + socket.address().toString(), "", "new.db",
                          RemoteProject::IfMissing::make);
    Sheet sheet;
    sheet.name = "417";
    korvane::model::cad::SheetRef made;
    project.create_sheet(sheet, made);
    korvane::Batch<Sheet> sheets;
    project.list_sheets({}, sheets);
    if (sheets.items.size() != 1 || sheets.items.front().name != "417") {
      throw std::runtime_error("the sheet did not come back");
    }
  }
  if (!server.stop(std::chrono::seconds(10))) throw std::runtime_error("the server does not stop");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  try {
    serve_and_ask(argv[1]);
    std::cout << "served\n";
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
