#include "dm/schema_check.h"

#include <set>
#include <string_view>

#include "dm/layout.h"
#include "dm/life.h"
#include "dm/registry.h"
#include "dm/schema_reader.h"
#include "dm/values.h"
#include "kiv/dom.h"
#include "xml/element_lines.h"

namespace dm {
namespace {

using kiv::DomElement;
using kiv::DomNode;
using kiv::DomNodeList2;
using Outcome = SchemaFinding::Outcome;

// Itself and what is below it, whatever the depth.
unsigned CountElements(const DomElement& top) {
  unsigned count = 0;
  DomNode node = top;
  for (unsigned depth = 0;;) {
    if (node.GetNodeType() == DomNode::ELEMENT_NODE) ++count;
    DomNode next;
    if (node.GetFirstChild(next)) {
      ++depth;
    } else {
      while (depth > 0 && !node.GetNextSibling(next)) {
        node.GetParentNode(node);
        --depth;
      }
      if (depth == 0) return count;
    }
    node = next;
  }
}

// Where the declarations stand in the file, and what names they give.
class SchemaPlan {
 public:
  SchemaPlan(const DomElement& schema, const std::vector<unsigned>& lines) {
    DomNodeList2 children;
    schema.ChildElementList(children);
    // The schema element itself is the first.
    unsigned place = 1;
    DomElement child;
    for (unsigned i = 0; children.item(i, child); ++i) {
      lines_.push_back(place < lines.size() ? lines[place] : 0);
      place += CountElements(child);
      names_.insert(child.Attribute("name"));
    }
  }

  unsigned LineOf(unsigned number) const { return lines_[number]; }
  bool Declares(const std::string& name) const {
    return names_.count(name) > 0;
  }

 private:
  std::vector<unsigned> lines_;
  std::set<std::string> names_;
};

std::string DeclaredText(const std::string& name) {
  const void* const metadata = dm_o_get_metadata(name.c_str());
  // The types inside an element may have names of their own.
  if (metadata == nullptr) return "under the names inside it";
  const std::string size =
      std::to_string(8 + dm_o_instance_header_size(metadata) +
                     dm_o_instance_data_size(metadata));
  if (!dm_o_is_struct_type_from_metadata(metadata)) {
    return std::string(dm_o_type_name_from_metadata(metadata)) + ", " + size +
           " bytes";
  }
  const std::size_t fields = dm_o_struct_metadata_field_count(metadata);
  return "record of " + std::to_string(fields) +
         (fields == 1 ? " field, " : " fields, ") + size + " bytes";
}

std::string RefusedText(const SchemaReader& reader, const SchemaPlan& plan) {
  const std::string& type = reader.unknown_type();
  if (type.empty()) return reader.reason();
  if (plan.Declares(type)) {
    return reader.reason() +
           ": it is refused itself or declared later; simple types come first, "
           "then complex types, then elements, each in the order of the file";
  }
  if (const dm_type_info_t* const info = InfoFromSchemaName(type)) {
    return reader.reason() + ": write " + info->type_name;
  }
  return reader.reason() +
         ": no built-in type, and no declaration has that name";
}

std::string TextOf(SchemaReader::Outcome outcome, const SchemaReader& reader,
                   const SchemaPlan& plan, const std::string& name) {
  switch (outcome) {
    case SchemaReader::Outcome::Declared:
      return DeclaredText(name);
    case SchemaReader::Outcome::Refused:
      return RefusedText(reader, plan);
    case SchemaReader::Outcome::NotTried:
      break;
  }
  return "a declaration of a group before this one was refused";
}

Outcome Published(SchemaReader::Outcome outcome) {
  switch (outcome) {
    case SchemaReader::Outcome::Declared:
      return Outcome::Declared;
    case SchemaReader::Outcome::Refused:
      return Outcome::Refused;
    case SchemaReader::Outcome::NotTried:
      break;
  }
  return Outcome::NotTried;
}

SchemaFinding FaultOf(unsigned long long line, const std::string& text) {
  return {Outcome::Fault, static_cast<unsigned>(line), "", "", text};
}

}  // namespace

std::vector<SchemaFinding> CheckSchema(const char* path) {
  std::vector<SchemaFinding> findings;
  dm_registry_t* const registry = dm_o_registry();
  if (path == nullptr || *path == '\0' || registry == nullptr) {
    return {FaultOf(0, path == nullptr || *path == '\0'
                           ? "no file is named"
                           : "the library is not started")};
  }
  kiv::DomParser parser;
  kiv::DomDocument document;
  DomElement schema;
  if (!parser.parseURI(path, document) ||
      !document.GetDocumentElement(schema)) {
    const kiv::ParseFault& fault = parser.LastFault();
    return {FaultOf(fault.line, fault.reason)};
  }
  const SchemaPlan plan(schema, kiv::ReadElementLines(path));
  SchemaReader reader(*registry);
  reader.DeclareSchema(
      schema, [&](unsigned number, const char* construct,
                  const DomElement& element, SchemaReader::Outcome outcome) {
        std::string name;
        // As a type without one takes it over.
        if (!element.Attribute("name", name) &&
            construct != std::string_view("element")) {
          schema.Attribute("name", name);
        }
        findings.push_back({Published(outcome), plan.LineOf(number), construct,
                            name, TextOf(outcome, reader, plan, name)});
      });
  if (findings.empty()) {
    findings.push_back(FaultOf(0,
                               "it holds no simple type, complex type or "
                               "element to declare"));
  }
  return findings;
}

}  // namespace dm
