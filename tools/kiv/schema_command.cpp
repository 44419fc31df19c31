// kiv schema: checks schema files, lists the types they declare with their
// layout, and writes a type as a schema.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "captured_log.h"
#include "command.h"
#include "dm/dm.h"
#include "dm/object.h"
#include "dm/schema_check.h"
#include "local_text.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using dm::SchemaFinding;
using Outcome = dm::SchemaFinding::Outcome;

// Few types can stand for many fields; a table of more helps nobody.
constexpr std::size_t kMaxRows = 20'000;
constexpr std::size_t kWordsSize = 8;

struct SchemaOptions {
  std::vector<std::string> files;
  std::string type;
  std::string output;
};

std::string Shown(const std::string& local) { return Printable(Utf8(local)); }

std::string OutcomeText(Outcome outcome) {
  switch (outcome) {
    case Outcome::Declared:
      return Colored("declared:", Color::Green);
    case Outcome::Refused:
      return Colored("refused:", Color::Red);
    case Outcome::NotTried:
      return Colored("not tried:", Color::Yellow);
    case Outcome::Fault:
      break;
  }
  return Colored("fault:", Color::Red);
}

void Print(std::ostream& out, const std::string& file,
           const SchemaFinding& finding) {
  out << file;
  if (finding.line > 0) out << ':' << finding.line;
  out << ": " << OutcomeText(finding.outcome) << ' ';
  if (!finding.construct.empty()) {
    out << finding.construct << ' '
        << (finding.name.empty() ? "without a name" : Shown(finding.name))
        << ": ";
  }
  out << Shown(finding.text) << '\n';
}

// Declares the types of the files, in order, and tells of all declarations or
// of those alone that failed. False when one did.
bool DeclareFiles(const std::vector<std::string>& files, std::ostream& out,
                  bool tells_all) {
  bool done = true;
  for (const std::string& file : files) {
    for (const SchemaFinding& finding :
         dm::CheckSchema(ToLocal(file).c_str())) {
      const bool is_declared = finding.outcome == Outcome::Declared;
      if (tells_all || !is_declared) Print(out, file, finding);
      done &= is_declared;
    }
  }
  return done;
}

int Check(const SchemaOptions& options) {
  const CapturedLog log;
  return DeclareFiles(options.files, std::cout, true) ? 0 : 1;
}

// The types by name, and for every type the first of its names.
struct Types {
  std::map<std::string, void*> by_name;
  std::map<const void*, std::string> names;

  Types() {
    dm_o_visit_metadata(
        [](const char* name, void* metadata, void* context) {
          auto& types = *static_cast<Types*>(context);
          types.by_name.emplace(name, metadata);
          types.names.emplace(metadata, name);
          return true;
        },
        this);
  }
};

using Rows = std::vector<std::vector<Cell>>;

class LayoutTable {
 public:
  explicit LayoutTable(const Types& types) : types_(types) {}

  void Add(const std::string& name, const void* metadata) {
    AddRow(Shown(name), TypeText(metadata, name), "",
           kWordsSize + dm_o_instance_header_size(metadata) +
               dm_o_instance_data_size(metadata));
    // The fields of a record with several names stand under the first of them,
    // unless it is the only one asked for.
    if (rows_.size() == 1 || types_.names.at(metadata) == name) {
      AddFields(metadata, "  ");
    }
  }

  bool is_whole() const { return rows_.size() < kMaxRows; }
  std::string Text() const {
    return Table({"offset", "size", "name", "type"}, rows_);
  }

 private:
  void AddFields(const void* metadata, const std::string& indent) {
    const std::size_t count = dm_o_struct_metadata_field_count(metadata);
    for (std::size_t i = 0; i < count && is_whole(); ++i) {
      const void* const type = dm_o_struct_metadata_field_metadata(metadata, i);
      AddRow(indent + Shown(dm_o_struct_metadata_field_name(metadata, i)),
             TypeText(type, ""),
             std::to_string(dm_o_struct_metadata_field_offset(metadata, i)),
             dm_o_struct_metadata_field_size(metadata, i));
      // A type with a name is told of under its name.
      if (types_.names.count(type) == 0) AddFields(type, indent + "  ");
    }
  }

  void AddRow(const std::string& name, const std::string& type,
              const std::string& offset, std::uint64_t size) {
    rows_.push_back({{offset, Color::Plain, true},
                     {std::to_string(size), Color::Plain, true},
                     {name},
                     {type}});
  }

  // A record's other name, or that it is one; a built-in type's own.
  std::string TypeText(const void* metadata, const std::string& own) const {
    if (!dm_o_is_struct_type_from_metadata(metadata)) {
      return dm_o_type_name_from_metadata(metadata);
    }
    const auto name = types_.names.find(metadata);
    return name == types_.names.end() || name->second == own
               ? "record"
               : Shown(name->second);
  }

  const Types& types_;
  Rows rows_;
};

int UnknownType(const char* command, const std::string& type) {
  std::cerr << "kiv schema " << command << ": no type is named " << type
            << "; kiv schema list FILE shows all names\n";
  return 1;
}

int List(const SchemaOptions& options) {
  const CapturedLog log;
  const bool done = DeclareFiles(options.files, std::cerr, false);
  const Types types;
  LayoutTable table(types);
  if (options.type.empty()) {
    for (const auto& [name, metadata] : types.by_name) {
      if (table.is_whole()) table.Add(name, metadata);
    }
  } else {
    const auto type = types.by_name.find(ToLocal(options.type));
    if (type == types.by_name.end()) return UnknownType("list", options.type);
    table.Add(type->first, type->second);
  }
  std::cout << table.Text();
  if (!table.is_whole()) {
    std::cerr << "kiv schema list: there are more; ask with --type for one\n";
  }
  return done && table.is_whole() ? 0 : 1;
}

// To standard output when no file is named, else to a pipe or a terminal, which
// has no old text to keep. The bytes are those of the encoding that the schema
// declares, GB2312.
bool WriteStream(const void* metadata, const std::string& type,
                 const std::string& file) {
  const auto text = dm::ObjectPtr<int*>::Take(
      dm_o_metadata_to_xsd_as(metadata, type.c_str()));
  if (!text) return false;
  std::ofstream opened;
  if (!file.empty()) opened.open(file, std::ios::binary);
  std::ostream& out = file.empty() ? std::cout : opened;
  out.write(dm_o_string_text(text.get()),
            static_cast<std::streamsize>(dm_o_string_size(text.get())))
      << std::flush;
  return static_cast<bool>(out);
}

bool Write(const void* metadata, const std::string& type,
           const std::string& file) {
  std::error_code error;
  const std::filesystem::file_status status =
      std::filesystem::status(file, error);
  const bool is_file =
      !file.empty() && (!std::filesystem::exists(status) ||
                        std::filesystem::is_regular_file(status));
  return is_file ? dm_o_metadata_to_xsd_file(metadata, type.c_str(),
                                             ToLocal(file).c_str())
                 : WriteStream(metadata, type, file);
}

// The library's paths are text in the local encoding with either separator: a
// name beyond that would be written as another one.
bool IsPathOfTheLibrary(const std::string& file) {
  return Utf8(ToLocal(file)) == file && file.find('\\') == std::string::npos;
}

int Export(const SchemaOptions& options) {
  const CapturedLog log;
  const bool done = DeclareFiles(options.files, std::cerr, false);
  const std::string type = ToLocal(options.type);
  const void* const metadata = dm_o_get_metadata(type.c_str());
  if (metadata == nullptr) return UnknownType("export", options.type);
  if (!IsPathOfTheLibrary(options.output)) {
    std::cerr << "kiv schema export: " << options.output
              << " has a character that a file of GB2312 name cannot have\n";
    return 1;
  }
  const std::size_t logged_before = log.Entries().size();
  if (!Write(metadata, type, options.output)) {
    std::cerr << "kiv schema export: " << options.type << " is not written to "
              << (options.output.empty() ? "standard output" : options.output)
              << '\n'
              << log.Entries().substr(logged_before);
    return 1;
  }
  return done ? 0 : 1;
}

CLI::App* AddPart(CLI::App& schema, const char* name, const char* description,
                  const std::shared_ptr<SchemaOptions>& options,
                  int (*run)(const SchemaOptions& options), int& exit_code) {
  CLI::App* part = schema.add_subcommand(name, description);
  part->callback([options, run, &exit_code] { exit_code = run(*options); });
  return part;
}

}  // namespace

void AddSchema(CLI::App& program, int& exit_code) {
  auto options = std::make_shared<SchemaOptions>();
  CLI::App* schema = program.add_subcommand(
      "schema",
      "Checks schema files, lists and exports the types they declare");
  schema->require_subcommand(1);
  schema->footer(
      "Several files are declared in their order; a later one may use the "
      "types of\nthe ones before. Exit codes: 0 done, 1 something was refused "
      "or failed.");

  CLI::App* check =
      AddPart(*schema, "check",
              "Says of every declaration whether it is refused, and why",
              options, Check, exit_code);
  check->add_option("file", options->files, "The schema files")->required();

  CLI::App* list =
      AddPart(*schema, "list",
              "Lists all types with the size of their objects, and the fields "
              "of records with their places in the record's data",
              options, List, exit_code);
  list->add_option("file", options->files, "Schema files to declare first");
  list->add_option("-t,--type", options->type, "Only the type of this name");
  list->footer("The offsets of an inner record's fields count from its data.");

  CLI::App* xsd = AddPart(*schema, "export",
                          "Writes a record type as a schema of its own, in "
                          "GB2312",
                          options, Export, exit_code);
  xsd->add_option("type", options->type, "The name of the type")->required();
  xsd->add_option("file", options->files, "The schema files that declare it")
      ->required();
  xsd->add_option("-o,--output", options->output,
                  "The file to write, instead of standard output");
}

}  // namespace kiv_tool
