// The sheets of a project on a server: consumer_client URL PROJECT [TOKEN]
#include <exception>
#include <iostream>

#include "clients/cpp/remote_project.h"
#include "contracts/cad/sheet.h"
#include "contracts/common/batch.h"

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  try {
    using korvane::client::RemoteProject;
    RemoteProject project(argv[1], argc > 3 ? argv[3] : "", argv[2],
                          RemoteProject::IfMissing::fail);
    korvane::Batch<korvane::model::cad::Sheet> sheets;
    project.list_sheets({}, sheets);
    for (const auto& sheet : sheets.items) std::cout << sheet.name << '\n';
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
