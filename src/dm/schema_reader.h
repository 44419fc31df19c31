#ifndef DM_SCHEMA_READER_H_
#define DM_SCHEMA_READER_H_

#include <functional>
#include <string>

#include "dm/layout.h"
#include "dm/object.h"
#include "dm/type_registry.h"
#include "kiv/dom.h"

namespace dm {

using MetadataPtr = ObjectPtr<int*>;

// The built-in type that a schema calls so; null when there is none.
const dm_type_info_t* InfoFromSchemaName(const std::string& name);

// Makes types of the constructs of a schema. Types refer to types that are
// registered already, so no type can contain itself.
//
// May throw std::bad_alloc; what was registered before stays.
class SchemaReader {
 public:
  enum class Lookup { Registered, RegisteredOrSchemaName };

  explicit SchemaReader(dm_registry_t& registry, bool replace = false,
                        Lookup lookup = Lookup::Registered)
      : registry_(registry), replace_(replace), lookup_(lookup) {}

  // Called for every declaration of DeclareSchema: the construct's number among
  // the child elements of the schema, its tag, and what became of it.
  enum class Outcome { Declared, Refused, NotTried };
  using Observer = std::function<void(unsigned number, const char* construct,
                                      const kiv::DomElement& element, Outcome)>;
  bool DeclareSchema(const kiv::DomElement& schema,
                     const Observer& observer = nullptr);

  // The published rules of the same names. False, with a reason, when refused.
  bool DeclareSimpleType(const kiv::DomElement& parent,
                         const kiv::DomElement& simple_type);
  bool DeclareComplexType(const kiv::DomElement& parent,
                          const kiv::DomElement& complex_type);
  bool DeclareElement(const kiv::DomElement& element);

  // Empty, with a reason, when refused. `function` stands in the log entry that
  // refuses a reference.
  MetadataPtr TypeOfElement(
      const kiv::DomElement& element,
      const char* function = "dm_o_metadata_from_schema_element");
  MetadataPtr TypeOfSimpleType(const kiv::DomElement& simple_type);
  MetadataPtr StructOfComplexType(const kiv::DomElement& complex_type);
  MetadataPtr StructOfSequence(const kiv::DomElement& sequence);

  // What was said first since the last ForgetReason.
  const std::string& reason() const { return reason_; }
  // The name that was looked up in vain; empty when that is not the reason.
  const std::string& unknown_type() const { return unknown_type_; }
  void ForgetReason();

 private:
  using Declare = bool (SchemaReader::*)(const kiv::DomElement& parent,
                                         const kiv::DomElement& construct);

  bool DeclareGroup(const kiv::DomElement& schema,
                    const kiv::DomNodeList2& children, const char* construct,
                    Declare declare, bool is_tried, const Observer& observer);
  bool DeclareTopElement(const kiv::DomElement& schema,
                         const kiv::DomElement& element);
  bool DeclareAll(const kiv::DomElement& parent, const kiv::DomNodeList2& list,
                  Declare declare);
  bool DeclareStruct(const std::string& name, const kiv::DomElement& sequence);
  bool Alias(const std::string& type, const std::string& name);
  MetadataPtr Find(const std::string& type);
  bool AppendField(void* structure, const kiv::DomElement& element);
  bool Refuse(std::string reason);

  dm_registry_t& registry_;
  const bool replace_;
  const Lookup lookup_;
  unsigned depth_ = 0;
  std::string reason_;
  std::string unknown_type_;
};

}  // namespace dm

#endif  // DM_SCHEMA_READER_H_
