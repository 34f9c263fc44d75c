#include "arguments.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string_view>

#include "tarn/tarn.h"

namespace tarn::cli {
namespace {

constexpr const char* kAbout =
    "tarn: checks IBIS model sources (.ibs, .pkg, .ebd), and compiles, documents and plots "
    "their components";

constexpr const char* kExitStatus =
    "Exit status: 0 every file passed (compile, doc: OUT was written), 1 a file has errors\n"
    "(compile, doc: nothing written), 2 usage error or unreadable file.\n"
    "Run 'tarn COMMAND --help' for the options of a command.";

constexpr const char* kNoFile = "no FILE given";
constexpr const char* kOneFile = "one FILE only";
constexpr const char* kOneFolder = "one FOLDER expected";

// What a command needs besides its options, and the words for what is missing or too much.
struct CommandRule {
  const char* name;
  const char* operand;  // the name of its positional arguments in the help
  bool many;            // any number of operands, else exactly one
  const char* missing;
  const char* extra;
  // Required options, in the order they are reported, with the message for each.
  std::vector<std::pair<const char*, const char*>> required;
  bool options_first;  // the required options are reported before a missing operand
  // "-" is no output file: the library would take it as "check only", the user as stdout.
  bool output_not_dash = false;
};

const std::vector<CommandRule>& command_rules() {
  // clang-format off
  static const std::vector<CommandRule> rules = {
      {"check", "PATH", true, kNoFile, "", {}, false},
      {"compile", "FILE", false, kNoFile, kOneFile,
       {{"--output", "--output OUT is required (a file name)"}}, false, true},
      {"doc", "FILE", false, kNoFile, kOneFile, {{"--output", "--output OUT is required"}}, false},
      {"index", "FOLDER", false, kOneFolder, kOneFolder, {}, false},
      {"lib", "COMPONENT", false, "no COMPONENT given", "one COMPONENT only",
       {{"--cache", "--cache DIR is required"},
        {"--index", "at least one --index FILE is required"}}, true},
      {"plot", "FILE", false, kNoFile, kOneFile, {{"--output", "--output DIR is required"}}, false},
      {"report", "PATH", true, "no PATH given", "",
       {{"--output", "--output report.html is required"}}, false},
  };
  // clang-format on
  return rules;
}

const CommandRule* find_rule(std::string_view name) {
  for (const CommandRule& rule : command_rules())
    if (name == rule.name) return &rule;
  return nullptr;
}

// The text of --format, made a Format after parsing so that a wrong one is reported in the
// tool's words.
struct Choices {
  std::string format = "text";
};

CLI::App* add_command(CLI::App& app, const char* name, const char* about, const char* operand_about,
                      const char* footer, Arguments* out) {
  CLI::App* command = app.add_subcommand(name, about);
  command->group("Commands");
  command->footer(footer);
  // Unknown options are reported by the tool, in its own words.
  command->allow_extras();
  const CommandRule* rule = find_rule(name);
  CLI::Option* operand = command->add_option(rule->operand, out->operands, operand_about);
  operand->type_name("");
  // A second one is a mismatch, reported as one too many.
  if (!rule->many) operand->expected(0, 1);
  return command;
}

CLI::Option* add_text(CLI::App* command, const char* name, std::string* value, const char* type,
                      const char* about) {
  // The last one given wins, as with most tools.
  return command->add_option(name, *value, about)
      ->type_name(type)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void add_accept_newer(CLI::App* command, Arguments* out) {
  command->add_flag("--accept-newer", out->accept_newer,
                    "read sources of IBIS 4.0 to 7.2 by the IBIS 3.2\n"
                    "rules, with one warning per later keyword or\n"
                    "subparameter read past");
}

void add_format(CLI::App* command, Choices* choices) {
  add_text(command, "--format", &choices->format, "text|gcc|json|sarif",
           "the findings as the text report (default), as\n"
           "FILE:LINE: error: MESSAGE lines, as one JSON\n"
           "document or as a SARIF 2.1.0 log");
}

void add_component_options(CLI::App* command, Arguments* out, const char* output_type,
                           const char* output_about) {
  add_text(command, "--component", &out->component, "NAME",
           "the component (without it, the file's only\ncomponent)");
  add_text(command, "--output", &out->output, output_type, output_about);
}

void add_check(CLI::App& app, Arguments* out, Choices* choices) {
  CLI::App* check = add_command(
      app, "check", "read and check IBIS sources", "a source (.ibs, .pkg, .ebd), a FOLDER, or -",
      "The report goes to standard output. A FOLDER is searched for .ibs, .pkg and .ebd\n"
      "files (sorted, hidden folders skipped); '-' reads standard input under --stdin-name.\n"
      "With several files, or with --quiet, a last line on standard error gives the totals.",
      out);
  add_format(check, choices);
  add_text(check, "--stdin-name", &out->stdin_name, "NAME",
           "the name of the source read from '-' (its\nextension tells the kind)");
  check->add_flag("-q,--quiet", out->quiet,
                  "only the findings of the files that fail, and\nthe totals");
  check->add_flag("--werror", out->werror, "a warning fails the file");
  add_text(check, "--color", &out->color, "auto|always|never",
           "colour ERROR and WARNING (auto: when standard\n"
           "output is a terminal and NO_COLOR is not set)");
  add_accept_newer(check, out);
}

void add_writers(CLI::App& app, Arguments* out, Choices* choices) {
  for (const char* name : {"compile", "doc"}) {
    const bool compile = std::string_view(name) == "compile";
    CLI::App* command = add_command(
        app, name,
        compile ? "check FILE and write the compiled model file of one component"
                : "check FILE and write the documentation of one component",
        "the IBIS source",
        "FILE is read and checked as check does; OUT is written only when it has no errors.\n"
        "A missing or unknown component lists the file's components on standard error.",
        out);
    add_component_options(
        command, out, "OUT",
        compile ? "the compiled model file to write" : "the documentation listing to write");
    add_format(command, choices);
    add_accept_newer(command, out);
  }
}

void add_library_commands(CLI::App& app, Arguments* out) {
  add_command(app, "index", "write the source index of a folder", "the folder",
              "Every .ibs file of FOLDER is read; the index, FOLDER/ibisindex.ibx, maps each\n"
              "component name to its file.",
              out);

  CLI::App* lib = add_command(
      app, "lib", "ask the model library for a component and show its pins", "the component's name",
      "The component is compiled when its compiled file is missing or older than its source;\n"
      "the exit status is 0 when it is usable.",
      out);
  add_text(lib, "--cache", &out->cache, "DIR", "the folder of the compiled files and their log");
  lib->add_option("--index", out->indexes,
                  "a source index (.ibx) to find sources through;\ngiven once or more")
      ->allow_extra_args(false)
      ->type_name("FILE");
}

void add_pictures(CLI::App& app, Arguments* out) {
  CLI::App* plot = add_command(
      app, "plot", "plot the curves of a source's models", "the IBIS source",
      "Writes plot files, SVG plots and an index.html of the curves of every model (or of\n"
      "model NAME, or of the models component NAME uses: those its pins name, and every\n"
      "model a selector they name offers).",
      out);
  add_component_options(plot, out, "DIR", "the folder to write the plots into");
  add_text(plot, "--model", &out->model, "NAME", "plot only this model");
  add_accept_newer(plot, out);

  CLI::App* report = add_command(
      app, "report", "write one self-contained HTML page of a check", "a source or a folder",
      "The page gives the results, findings, components and models of every PATH (a file or\n"
      "a folder).",
      out);
  add_text(report, "--output", &out->output, "report.html", "the page to write");
  add_accept_newer(report, out);
}

void build(CLI::App& app, Arguments* out, Choices* choices) {
  add_check(app, out, choices);
  add_writers(app, out, choices);
  add_library_commands(app, out);
  add_pictures(app, out);
}

// CLI11 names the option first in "--output: 1 required TEXT missing".
std::string option_of(const CLI::ArgumentMismatch& e) {
  const std::string_view text = e.what();
  return std::string(text.substr(0, text.find(':')));
}

std::string first_unknown_option(const CLI::App& command) {
  for (const std::string& arg : command.remaining())
    if (arg.size() > 1 && arg[0] == '-') return arg;
  return {};
}

std::string empty_option(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_type_size() == 0) continue;  // a flag
    for (const std::string& value : option->results())
      if (value.empty()) return option->get_name();
  }
  return {};
}

std::string missing_required(const CommandRule& rule, const CLI::App& command) {
  for (const auto& [name, message] : rule.required) {
    const CLI::Option* option = command.get_option(name);
    if (option->count() == 0) return message;
    if (rule.output_not_dash && option->as<std::string>() == "-") return message;
  }
  return {};
}

std::string unknown_option(std::string_view arg) {
  return "unknown option '" + std::string(arg) + "'";
}

// The first problem the parser let through, in the order a user fixes them.
std::string usage_problem(const CommandRule& rule, const CLI::App& command, Arguments* args,
                          const Choices& choices) {
  if (const std::string unknown = first_unknown_option(command); !unknown.empty())
    return unknown_option(unknown);
  if (const std::string empty = empty_option(command); !empty.empty())
    return empty + " needs a value";
  if (command.get_option_no_throw("--format") && !parse_format(choices.format, &args->format))
    return "--format takes text, gcc, json or sarif, not '" + choices.format + "'";
  if (args->color != "auto" && args->color != "always" && args->color != "never")
    return "--color takes auto, always or never, not '" + args->color + "'";
  const std::string operand = args->operands.empty() ? rule.missing : "";
  const std::string required = missing_required(rule, command);
  if (rule.options_first && !required.empty()) return required;
  return operand.empty() ? required : operand;
}

}  // namespace

int usage_error(const std::string& command, const std::string& message) {
  std::fprintf(stderr, "tarn: %s%s%s\n", command.c_str(), command.empty() ? "" : ": ",
               message.c_str());
  std::fprintf(stderr, "Try 'tarn %s%s--help'.\n", command.c_str(), command.empty() ? "" : " ");
  return kExitUsage;
}

int parse_arguments(int argc, char** argv, Arguments* out) {
  CLI::App app{kAbout, "tarn"};
  app.footer(kExitStatus);
  app.set_version_flag("--version", std::string("tarn ") + tarn_version(), "show the version");
  app.set_help_flag("-h,--help", "show this help");
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->column_width(30);
  // One command a run: a later operand named like a command ("lib") stays an operand.
  app.require_subcommand(0, 1);
  Choices choices;
  build(app, out, &choices);

  if (argc < 2) return usage_error("", "no command given");
  const std::string_view first = argv[1];
  if (first == "help") {
    std::fputs(app.help().c_str(), stdout);
    return kExitPassed;
  }
  const bool global = first == "-h" || first == "--help" || first == "--version";
  if (!global && first.starts_with("-")) return usage_error("", unknown_option(first));
  if (!global && !find_rule(first))
    return usage_error("", "unknown command '" + std::string(first) + "'");
  if (!global) out->command = first;
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {  // --help or --version
    return app.exit(e);
  } catch (const CLI::ArgumentMismatch& e) {
    const CommandRule* rule = find_rule(out->command);
    const std::string option = option_of(e);
    const bool extra_operand = rule && option == rule->operand;
    return usage_error(out->command, extra_operand ? rule->extra : option + " needs a value");
  } catch (const CLI::ParseError& e) {
    return usage_error(out->command, e.what());
  }
  const std::string problem =
      usage_problem(*find_rule(out->command), *app.get_subcommand(out->command), out, choices);
  return problem.empty() ? -1 : usage_error(out->command, problem);
}

}  // namespace tarn::cli
