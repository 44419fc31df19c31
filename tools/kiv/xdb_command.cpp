// kiv xdb: makes, fills and looks after XML databases.
#include "xdb_command.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <utility>

#include "captured_log.h"
#include "command.h"

namespace kiv_tool {
namespace {

using Command = int (*)(XdbPlace& place, const XdbOptions& options);

// Without a log in the current folder: what it would say is said on standard
// error.
int RunQuietly(XdbPlace& place, const XdbOptions& options, Command run) {
  static int depth = 0;
  if (depth > 0) return run(place, options);
  ++depth;
  const CapturedLog log;
  int exit_code = run(place, options);
  // Also what closing logs.
  place.Close();
  --depth;
  std::cout.flush();
  if (!std::cout && exit_code == 0)
    exit_code = place.Fault("standard output cannot be written");
  return exit_code;
}

class XdbCommands {
 public:
  XdbCommands(CLI::App& group, std::shared_ptr<XdbPlace> place, int& exit_code)
      : group_(group), place_(std::move(place)), exit_code_(exit_code) {}

  CLI::App* Add(const char* name, const char* description, Command run) {
    CLI::App* const command = group_.add_subcommand(name, description);
    // The options of the group may stand behind the command, too.
    command->fallthrough();
    command->callback([options = options_, name, run, place = place_,
                       &exit_code = exit_code_] {
      place->SetCommand(name);
      exit_code = RunQuietly(*place, *options, run);
    });
    return command;
  }
  CLI::Option* AddContainer(CLI::App* command) {
    return command
        ->add_option("container", options_->container, "The container's name")
        ->required();
  }
  void AddContainers(CLI::App* command) {
    command->add_option("container", options_->names,
                        "The containers; all without one");
  }
  void AddBatch(CLI::App* command) {
    command->add_flag("-r,--replace", options_->replaces,
                      "Replace documents that are there already");
    command
        ->add_option("--batch", options_->batch,
                     "So many documents in one transaction")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
  }
  XdbOptions& Options() { return *options_; }

 private:
  CLI::App& group_;
  const std::shared_ptr<XdbPlace> place_;
  int& exit_code_;
  // One for all: one of them runs.
  std::shared_ptr<XdbOptions> options_ = std::make_shared<XdbOptions>();
};

void AddDocuments(XdbCommands& commands) {
  XdbOptions& options = commands.Options();
  CLI::App* const put = commands.Add(
      "put", "Stores files, and the .xml files of folders", XdbPut);
  commands.AddContainer(put);
  put->add_option("path", options.paths,
                  "Files under their names, folders with names relative to "
                  "them, - for standard input")
      ->required();
  put->add_option("-n,--name", options.name,
                  "The name of the one document; standard input without it "
                  "gets a new name, which is printed");
  put->add_flag("-c,--create", options.may_create,
                "Create the container when it is missing");
  commands.AddBatch(put);
  put->footer(
      "What fails takes its batch back and leaves the ones before it.\n"
      "  kiv xdb put orders 4711.xml          as document 4711.xml\n"
      "  kiv xdb put orders -n 4711 new.xml\n"
      "  kiv xdb put -c orders archive/ -r    2026/1.xml, 2026/2.xml, ...");

  CLI::App* const get =
      commands.Add("get",
                   "Prints documents, as bytes in the encoding they declare; "
                   "on a terminal as text",
                   XdbGet);
  commands.AddContainer(get);
  get->add_option("name", options.names, "The documents' names")->required();
  get->add_option("-o,--output", options.output,
                  "The file to write, for one document");

  CLI::App* const remove =
      commands.Add("del", "Removes documents, all of them or none", XdbDelete);
  commands.AddContainer(remove);
  CLI::Option* const names =
      remove->add_option("name", options.names, "The documents' names");
  remove
      ->add_flag("--container", options.removes_container,
                 "The container itself, once you agree")
      ->excludes(names);
  remove->add_flag("-y,--yes", options.is_confirmed,
                   "Do not ask; needed without a terminal");

  CLI::App* const rename = commands.Add(
      "rename", "Gives a document, or the container, another name", XdbRename);
  commands.AddContainer(rename);
  rename
      ->add_option("name", options.name,
                   "The document's name; without another behind it, the "
                   "container's new one")
      ->required();
  rename->add_option("new-name", options.new_name, "The document's new name");
}

void AddContainers(XdbCommands& commands) {
  XdbOptions& options = commands.Options();
  CLI::App* const create = commands.Add(
      "create", "Makes containers, and the folder when it is missing",
      XdbCreate);
  create->add_option("container", options.names, "Their names")->required();
  create->footer(
      "With a password, everything in a new folder is encrypted; a folder "
      "cannot be\nencrypted later.\n"
      "  kiv xdb -d ../db create orders\n"
      "  kiv xdb -d ../safe --password create orders");

  CLI::App* const list = commands.Add(
      "ls", "Lists the containers, or the documents of one", XdbList);
  list->add_option("container", options.container, "The container's name");
  list->add_flag("-l,--long", options.shows_details,
                 "Containers with what kiv xdb stat tells");
}

void AddFolders(XdbCommands& commands) {
  XdbOptions& options = commands.Options();
  CLI::App* const dump = commands.Add(
      "dump", "Writes every document as a plain file into a new folder",
      XdbDump);
  commands.AddContainer(dump);
  dump->add_option("folder", options.folder, "The folder, new or empty")
      ->required();
  dump->add_flag("--salvage", options.salvages,
                 "What can still be read of a damaged container");
  dump->footer(
      "A document's file bears its name, with %XX for what a file name cannot "
      "hold and\n%.xml behind a name that does not end in .xml. The folder is "
      "there when it is\nwhole.");

  CLI::App* const load = commands.Add(
      "load",
      "Stores what kiv xdb dump wrote; makes the container when it is "
      "missing",
      XdbLoad);
  commands.AddContainer(load);
  load->add_option("folder", options.folder, "The folder")->required();
  commands.AddBatch(load);
}

void AddCare(XdbCommands& commands) {
  XdbOptions& options = commands.Options();
  commands.AddContainers(commands.Add(
      "verify",
      "Reads everything and compares the index with the documents; says what "
      "is wrong",
      XdbVerify));
  CLI::App* const recover = commands.Add(
      "recover",
      "Runs recovery while nobody has the folder open. The first to open it "
      "after a crash does so by itself",
      XdbRecover);
  recover->add_flag("--catastrophic", options.is_catastrophic,
                    "From all log files there are: for restored backups");
  CLI::App* const checkpoint = commands.Add(
      "checkpoint", "Writes what is only in the log files into the containers",
      XdbCheckpoint);
  checkpoint->add_flag("-l,--list", options.shows_details,
                       "Print the log files that no start needs any more");
  commands.AddContainers(
      commands.Add("stat",
                   "Documents, sizes and index entries of containers; cache, "
                   "log files and locks of the folder",
                   XdbStat));
}

void AddQueryOptions(CLI::App* command, XdbOptions& options) {
  command
      ->add_option("-v,--variable", options.variables,
                   "NAME=TEXT, or NAME:=QUERY for another value than a text: "
                   "$NAME in the query; again for more")
      ->allow_extra_args(false)
      ->take_all();
  command
      ->add_option("-n,--namespace", options.namespaces,
                   "PREFIX=URI; again for more")
      ->allow_extra_args(false)
      ->take_all();
  command
      ->add_option("-o,--output", options.format,
                   "xml: nodes as XML. plain: their text alone")
      ->check(CLI::IsMember({"xml", "plain"}))
      ->capture_default_str();
  command->add_option("-s,--separator", options.separator,
                      "Between two items; a line each without it");
  command->add_flag("-t,--time", options.shows_time,
                    "Say how long it took, on standard error");
  command->add_flag("--files", options.reads_files,
                    "Queries may read files: doc('file:///tmp/a.xml')");
  command->add_option("--time-limit", options.time_limit_ms,
                      "Milliseconds for a query; none without it");
  command->add_option("--memory", options.memory_limit_mb,
                      "Megabytes for the values of a query; 2048 without it");
  command->add_option("--depth", options.depth_limit,
                      "Calls of functions in each other; 100000 without it");
}

void AddQueries(XdbCommands& commands) {
  XdbOptions& options = commands.Options();
  CLI::App* const query =
      commands.Add("query", "Asks a query and prints what it gives", XdbQuery);
  query->add_option("query", options.query, "The query, in XQuery 1.0");
  query->add_option("-f,--file", options.query_file,
                    "The file it stands in, - for standard input");
  query->add_flag("--explain", options.explains,
                  "Print what would be done: joins, what is kept, and each "
                  "index look-up with what it is expected to find");
  AddQueryOptions(query, options);
  query->footer(
      "Ctrl+C ends the query. Without an answer that is whole it ends with 1.\n"
      "  kiv xdb query \"collection('orders')/order[@no = 4711]\"\n"
      "  kiv xdb query -v no=4711 "
      "'collection(\"orders\")/order[@no = $no]/line'\n"
      "  kiv xdb query -v from:='xs:date(\"2026-01-01\")' -f late.xq -o plain\n"
      "  kiv xdb query --explain -f late.xq");
}

void AddCommands(CLI::App& group, const std::shared_ptr<XdbPlace>& place,
                 int& exit_code) {
  XdbCommands commands(group, place, exit_code);
  AddContainers(commands);
  AddDocuments(commands);
  AddFolders(commands);
  AddCare(commands);
  AddQueries(commands);
}

// What runs commands itself.
void AddSessions(CLI::App& group, const std::shared_ptr<XdbPlace>& place,
                 int& exit_code) {
  XdbCommands commands(group, place, exit_code);
  CLI::App* const shell = commands.Add(
      "shell", "Queries at a terminal, with earlier ones to call back",
      XdbShell);
  AddQueryOptions(shell, commands.Options());
  shell->footer(
      "A query is asked when it is whole, over as many lines as it takes. "
      ":help "
      "tells of\nthe commands. What was typed is kept in ~/.kiv_history, or "
      "the "
      "file that\nKIV_HISTORY names; nowhere when that is empty. From a pipe "
      "it "
      "asks what comes,\nand ends with 1 when anything failed.");
  CLI::App* const script = commands.Add(
      "script", "Runs commands from standard input, a line each", XdbScript);
  script->footer(
      "Words as in a shell: '...', \"...\", \\; # begins a comment. The folder "
      "is opened\nonce. Ends at the first command that fails, with its exit "
      "code.\n"
      "  printf 'create orders\\nput orders a.xml\\n' | kiv xdb -d ../db "
      "script");
}

}  // namespace

int RunXdbWords(XdbPlace& place, std::vector<std::string> words) {
  CLI::App line{"", "kiv xdb"};
  line.require_subcommand(1);
  int exit_code = 0;
  // The caller's, and still there when the line is done.
  AddCommands(line, std::shared_ptr<XdbPlace>(std::shared_ptr<void>(), &place),
              exit_code);
  std::reverse(words.begin(), words.end());
  try {
    line.parse(words);
  } catch (const CLI::ParseError& error) {
    return TellParseError(line, error);
  }
  return exit_code;
}

void AddXdb(CLI::App& program, int& exit_code) {
  CLI::App* const group = program.add_subcommand(
      "xdb", "Makes, fills and looks after XML databases");
  group->require_subcommand(1);
  const auto place = std::make_shared<XdbPlace>();
  group->add_option("-d,--database", place->home, "The folder of the database")
      ->capture_default_str();
  auto* const file =
      group->add_option("--password-file", place->password_file,
                        "A file whose first line is the password");
  group
      ->add_flag("-p,--password", place->asks_password,
                 "Ask for the password at the terminal")
      ->excludes(file);
  group->footer(
      "Names are UTF-8 and may be any text of GB2312 (code page 936).\n"
      "kiv xdb COMMAND --help tells more of a command.");
  AddCommands(*group, place, exit_code);
  AddSessions(*group, place, exit_code);
}

}  // namespace kiv_tool
