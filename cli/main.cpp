// quillon: the command line over the engine. The command table below is the one list of
// commands: it registers them, and "help" and the unknown-command message read it.

#include <iostream>
#include <string_view>
#include <vector>

#include "Commands.h"
#include "uKwDidYouMean.h"

namespace {

struct TCommand {
  std::string_view Name;
  void (*Add)(CLI::App& app, int& status);
};

constexpr TCommand kCommands[] = {
    {"kinds", AddKindsCommand},   {"describe", AddDescribeCommand}, {"template", AddTemplateCommand},
    {"check", AddCheckCommand},   {"run", AddRunCommand},           {"show", AddShowCommand},
    {"convert", AddConvertCommand}, {"jobs", AddJobsCommand},       {"logs", AddLogsCommand},
};

void ListCommands(CLI::App& app, std::ostream& out) {
  out << "Commands:\n";
  for (const TCommand& command : kCommands)
    out << "  " << command.Name << std::string(10 - command.Name.size(), ' ')
        << app.get_subcommand(std::string(command.Name))->get_description() << "\n";
  out << "  help      Show the help of a command: quillon help CMD\n";
}

bool IsCommand(std::string_view name) {
  if (name == "help") return true;
  for (const TCommand& command : kCommands)
    if (command.Name == name) return true;
  return false;
}

int UnknownCommand(CLI::App& app, const std::string& name) {
  std::vector<std::string> names{"help"};
  for (const TCommand& command : kCommands) names.emplace_back(command.Name);
  const std::string guess = ClosestName(name, names);
  PrintError("unknown command '" + name + "'" + (guess.empty() ? "" : "; did you mean '" + guess + "'?"));
  ListCommands(app, std::cerr);
  return kExitUsage;
}

int Help(CLI::App& app, const std::string& name) {
  if (name.empty()) {
    // app.help() here would describe the help command itself, the one being run.
    std::cout << app.get_description() << "\nUsage: quillon COMMAND [OPTIONS] [ARGS]\n\n";
    ListCommands(app, std::cout);
    std::cout << "\n" << app.get_footer() << "\n";
    return kExitOk;
  }
  if (name == "help" || !IsCommand(name)) return name == "help" ? Help(app, "") : UnknownCommand(app, name);
  std::cout << app.get_subcommand(name)->help();
  return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Quillon: bulk e-mail processing from action trees and jobs", "quillon"};
  app.require_subcommand(1);
  app.footer("Start with: quillon template stiMailSrcMbox stiMailTarEmailParts > job.json; "
             "quillon check job.json; quillon run job.json");
  int status = kExitOk;
  for (const TCommand& command : kCommands) command.Add(app, status);
  auto* help = app.add_subcommand("help", "Show the help of a command");
  auto helpTopic = std::make_shared<std::string>();
  help->add_option("CMD", *helpTopic, "The command");
  help->callback([&] { status = Help(app, *helpTopic); });
  if (argc > 1 && (std::string_view(argv[1]) == "--version" || std::string_view(argv[1]) == "-V")) {
    std::cout << "quillon " << QUILLON_VERSION << "\n";
    return kExitOk;
  }
  if (argc > 1 && argv[1][0] != '-' && !IsCommand(argv[1])) return UnknownCommand(app, argv[1]);
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
