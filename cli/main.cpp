// quillon: the command line over the engine.

#include <iostream>

#include "Commands.h"

int main(int argc, char** argv) {
  CLI::App app{"Quillon: bulk e-mail processing from action trees and jobs", "quillon"};
  app.require_subcommand(1);
  int status = kExitOk;
  AddKindsCommand(app, status);
  AddShowCommand(app, status);
  AddConvertCommand(app, status);
  AddRunCommand(app, status);
  AddJobsCommand(app, status);
  AddLogsCommand(app, status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    PrintError(e.what());
    std::cerr << "Run 'quillon --help' for the commands.\n";
    return kExitUsage;
  }
  return status;
}

void PrintError(const std::string& message) { std::cerr << "quillon: " << message << "\n"; }
