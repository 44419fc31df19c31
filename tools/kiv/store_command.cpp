// kiv store: looks into record stores, fills and copies them.
#include "store_command.h"

#include <iostream>
#include <memory>
#include <utility>

#include "command.h"

namespace kiv_tool {
namespace {

using Command = int (*)(StorePlace& place, const StoreOptions& options);

// What says where the store is; the place itself begins to catch the log only
// when a command runs.
struct Where {
  std::string text;
  std::string text_file;
  std::string user;
  std::string password_file;
  bool asks_password = false;
};

int RunThere(const Where& where, const char* name, Command run,
             const StoreOptions& options) {
  StorePlace place;
  place.text = where.text;
  place.text_file = where.text_file;
  place.user = where.user;
  place.password_file = where.password_file;
  place.asks_password = where.asks_password;
  place.SetCommand(name);
  const int exit_code = run(place, options);
  std::cout.flush();
  if (!std::cout && exit_code == 0)
    return place.Fault("standard output cannot be written");
  return exit_code;
}

class StoreCommands {
 public:
  StoreCommands(CLI::App& group, std::shared_ptr<Where> where, int& exit_code)
      : group_(group), where_(std::move(where)), exit_code_(exit_code) {}

  CLI::App* Add(const char* name, const char* description, Command run) {
    CLI::App* const command = group_.add_subcommand(name, description);
    // The options of the group may stand behind the command, too.
    command->fallthrough();
    command->callback([options = options_, name, run, where = where_,
                       &exit_code = exit_code_] {
      exit_code = RunThere(*where, name, run, *options);
    });
    return command;
  }
  void AddTable(CLI::App* command) {
    command->add_option("table", options_->table, "The table's name")
        ->required();
  }
  void AddFormat(CLI::App* command, const char* description) {
    command->add_option("--format", options_->format, description)
        ->check(CLI::IsMember({"csv", "xml"}));
    command->add_option("-o,--output", options_->output,
                        "The file to write, instead of standard output");
  }
  StoreOptions& Options() { return *options_; }

 private:
  CLI::App& group_;
  const std::shared_ptr<Where> where_;
  int& exit_code_;
  // One for all: one of them runs.
  std::shared_ptr<StoreOptions> options_ = std::make_shared<StoreOptions>();
};

void AddTables(StoreCommands& commands) {
  StoreOptions& options = commands.Options();
  commands.Add("ping", "Opens the store and says how long it took", StorePing);
  commands.Add("tables", "Lists the tables", StoreTables);
  commands.AddTable(
      commands.Add("columns", "Lists the columns of a table", StoreColumns));
  CLI::App* const create = commands.Add(
      "create", "Makes a table from a record type of an XML Schema",
      StoreCreate);
  commands.AddTable(create);
  create->add_option("schema", options.schemas, "The schema files")->required();
  create
      ->add_option("-t,--type", options.type,
                   "The name of the type; that of the table without it")
      ->type_name("NAME");
  create
      ->add_option("--text-length", options.text_length,
                   "Characters of a text column, instead of 50; SQL Server "
                   "wants it")
      ->check(CLI::PositiveNumber);
  create->add_flag("-c,--create", options.may_create,
                   "Make the store when it is missing");
  create->footer(
      "  kiv store create Order orders.xsd -c    from the type Order");
}

void AddRows(StoreCommands& commands) {
  StoreOptions& options = commands.Options();
  CLI::App* const dump =
      commands.Add("dump", "Writes all rows of a table", StoreDump);
  commands.AddTable(dump);
  commands.AddFormat(dump, "csv, or xml; csv without it");
  dump->footer(
      "In UTF-8. CSV: a header, then a line a row; NULL is nothing, an empty "
      "text \"\".\nBinary values are hexadecimal digits. A file is there when "
      "it is whole.");

  CLI::App* const import =
      commands.Add("import", "Adds the rows of a CSV file, all of them or none",
                   StoreImport);
  commands.AddTable(import);
  import
      ->add_option("file", options.input,
                   "The file, as kiv store dump writes it; - for standard "
                   "input")
      ->required();

  CLI::App* const query = commands.Add(
      "query", "Prints the rows that a statement gives", StoreQuery);
  query->add_option("statement", options.statement, "SQL, with ? for values")
      ->required();
  query->add_option("value", options.parameters,
                    "The values for ?, as texts, in their order");
  query->add_flag("-x,--execute", options.gives_no_rows,
                  "A statement that gives no rows: say how many it changed");
  commands.AddFormat(query,
                     "csv or xml; on a terminal a table without it, else csv");
  query->footer(
      "  kiv store query 'select * from orders where customer = ?' Meyer\n"
      "  kiv store query -x 'delete from orders'");
}

}  // namespace

void AddStore(CLI::App& program, int& exit_code) {
  CLI::App* const group = program.add_subcommand(
      "store", "Looks into record stores, fills and copies them");
  group->require_subcommand(1);
  const auto where = std::make_shared<Where>();
  auto* const text = group->add_option("-C,--connection", where->text,
                                       "The connection text, which everybody "
                                       "on the machine can read meanwhile");
  group
      ->add_option("-f,--connection-file", where->text_file,
                   "A file whose first line is the connection text")
      ->excludes(text);
  group->add_option("-u,--user", where->user, "The user");
  auto* const file =
      group->add_option("--password-file", where->password_file,
                        "A file whose first line is the password");
  group
      ->add_flag("-p,--password", where->asks_password,
                 "Ask for the password at the terminal")
      ->excludes(file);
  group->footer(
      "Without the two options KIV_STORE holds the connection text:\n"
      "  ado:DBMS:TEXT   a database, as ado:ado:Driver=SQLite3;"
      "Database=orders.db\n"
      "  xmldb:FOLDER    an XML database; its documents are for kiv xdb\n"
      "Texts are UTF-8 of the characters of GB2312 (code page 936).\n"
      "kiv store COMMAND --help tells more of a command.");
  StoreCommands commands(*group, where, exit_code);
  AddTables(commands);
  AddRows(commands);
}

}  // namespace kiv_tool
