#include "dm/schema_reader.h"

#include <utility>

#include "dm/field_table.h"
#include "dm/schema_messages.h"
#include "dm/values.h"
#include "util/log_entry.h"

namespace dm {
namespace {

using kiv::DomElement;
using kiv::DomNodeList2;

// Nested fields each put their name in front of a reason; a reason that is
// longer than this says enough.
constexpr std::size_t kLongReason = 1000;

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

bool IsElement(const DomElement& node) {
  return node.GetNodeType() == kiv::DomNode::ELEMENT_NODE;
}

// A type inside an element has no name of its own.
std::string NameOf(const DomElement& construct, const DomElement& parent) {
  std::string name;
  if (!construct.Attribute("name", name)) parent.Attribute("name", name);
  return name;
}

// The type that a restriction or an extension starts from.
bool BaseOf(const DomElement& content, const char* derivation,
            DomElement& derived, std::string& base) {
  return content.GetFirstChildElement(derivation, derived) &&
         derived.LocalAttribute("base", base);
}

// What an extension adds is not recorded, but it must be whole.
bool HasWholeAttribute(const DomElement& extension) {
  DomElement attribute;
  std::string text;
  return !extension.GetFirstChildElement("attribute", attribute) ||
         (attribute.Attribute("name", text) &&
          attribute.Attribute("type", text));
}

// Why a struct did not take a field.
std::string ReasonOfNoField(const std::string& name, const MetadataPtr& type) {
  if (name.empty()) return "it must have one";
  const dm_type_info_t* const info = dm_o_type_info_from_metadata(type.get());
  return info->type_id == DM_STD_METADATA || info->type_id == DM_STRUCT_METADATA
             ? std::string("no field can be a ") + info->type_name
             : "structs are nested too deep, or larger than 4 GiB";
}

}  // namespace

const dm_type_info_t* InfoFromSchemaName(const std::string& name) {
  // Which no schema has a name for.
  if (name.empty()) return nullptr;
  for (unsigned id = 0; id < kTypeIds; ++id) {
    const dm_type_info_t* const info = InfoFromId(id);
    if (info != nullptr && name == info->schema_name) return info;
  }
  return nullptr;
}

void SchemaReader::ForgetReason() {
  reason_.clear();
  unknown_type_.clear();
}

bool SchemaReader::Refuse(std::string reason) {
  if (reason_.empty()) reason_ = std::move(reason);
  return false;
}

bool SchemaReader::DeclareSchema(const DomElement& schema,
                                 const Observer& observer) {
  bool done = IsElement(schema);
  DomNodeList2 children;
  schema.ChildElementList(children);
  done &= DeclareGroup(schema, children, "simpleType",
                       &SchemaReader::DeclareSimpleType, done, observer);
  done &= DeclareGroup(schema, children, "complexType",
                       &SchemaReader::DeclareComplexType, done, observer);
  return DeclareGroup(schema, children, "element",
                      &SchemaReader::DeclareTopElement, done, observer) &&
         done;
}

bool SchemaReader::DeclareGroup(const DomElement& schema,
                                const DomNodeList2& children,
                                const char* construct, Declare declare,
                                bool is_tried, const Observer& observer) {
  if (!is_tried && !observer) return false;
  bool done = true;
  DomElement child;
  for (unsigned i = 0; children.item(i, child); ++i) {
    if (!child.LocalNameEqualTo(construct)) continue;
    ForgetReason();
    const bool declared = is_tried && (this->*declare)(schema, child);
    done &= declared;
    if (observer) {
      observer(i, construct, child,
               declared   ? Outcome::Declared
               : is_tried ? Outcome::Refused
                          : Outcome::NotTried);
    }
  }
  return done;
}

bool SchemaReader::DeclareTopElement(const DomElement&,
                                     const DomElement& element) {
  return DeclareElement(element);
}

bool SchemaReader::DeclareSimpleType(const DomElement& parent,
                                     const DomElement& simple_type) {
  const std::string name = NameOf(simple_type, parent);
  if (name.empty()) return Refuse("it has no name");
  DomElement restriction;
  std::string base;
  if (!BaseOf(simple_type, "restriction", restriction, base)) {
    return Refuse("it has no \"restriction\" with a \"base\"");
  }
  return Alias(base, name);
}

bool SchemaReader::DeclareComplexType(const DomElement& parent,
                                      const DomElement& complex_type) {
  const std::string name = NameOf(complex_type, parent);
  if (name.empty()) return Refuse("it has no name");
  DomElement content;
  DomElement extension;
  std::string base;
  if (complex_type.GetFirstChildElement("simpleContent", content) &&
      BaseOf(content, "extension", extension, base)) {
    if (HasWholeAttribute(extension)) return Alias(base, name);
    return Refuse("an attribute of its extension has no \"name\" or \"type\"");
  }
  if (complex_type.GetFirstChildElement("sequence", content)) {
    return DeclareStruct(name, content);
  }
  return Refuse(
      "it has no \"sequence\", and no \"simpleContent\" with an \"extension\" "
      "that has a \"base\"");
}

bool SchemaReader::DeclareStruct(const std::string& name,
                                 const DomElement& sequence) {
  if (registry_.Find(name) != nullptr) {
    if (!replace_) return Refuse("the name is taken");
    // Gone before the fields are read: the new type cannot contain the old one.
    registry_.Remove(name);
  }
  MetadataPtr structure = StructOfSequence(sequence);
  if (!structure || !registry_.Add(name, structure.get(), false)) return false;
  structure.Release();
  return true;
}

bool SchemaReader::DeclareElement(const DomElement& element) {
  std::string name;
  if (!element.Attribute("name", name)) return Refuse("it has no name");
  if (element.HasAttribute("type")) {
    // An empty name is that of no type.
    std::string type;
    element.LocalAttribute("type", type);
    return Alias(type, name);
  }
  DomNodeList2 types;
  if (element.ChildElementList("simpleType", types)) {
    return DeclareAll(element, types, &SchemaReader::DeclareSimpleType);
  }
  if (element.ChildElementList("complexType", types)) {
    return DeclareAll(element, types, &SchemaReader::DeclareComplexType);
  }
  return Refuse("it has no \"type\", and no type inside it");
}

bool SchemaReader::DeclareAll(const DomElement& parent,
                              const DomNodeList2& list, Declare declare) {
  bool done = true;
  DomElement child;
  for (unsigned i = 0; list.item(i, child); ++i) {
    done &= (this->*declare)(parent, child);
  }
  return done;
}

bool SchemaReader::Alias(const std::string& type, const std::string& name) {
  const MetadataPtr metadata = Find(type);
  if (!metadata) return false;
  return registry_.Alias(metadata.get(), name, replace_) ||
         Refuse("the name is taken");
}

MetadataPtr SchemaReader::Find(const std::string& type) {
  void* metadata = registry_.Find(type);
  if (metadata == nullptr && lookup_ == Lookup::RegisteredOrSchemaName) {
    const dm_type_info_t* const info = InfoFromSchemaName(type);
    if (info != nullptr) metadata = registry_.standard(info->type_id);
  }
  if (metadata == nullptr && reason_.empty()) {
    unknown_type_ = type;
    Refuse("unknown type " + Quoted(type));
  }
  return MetadataPtr(metadata);
}

MetadataPtr SchemaReader::TypeOfElement(const DomElement& element,
                                        const char* function) {
  std::string type;
  if (element.LocalAttribute("type", type)) return Find(type);
  if (element.HasAttribute("ref")) {
    kiv::LogError("Object", message::ElementReferenceRefused(function));
    Refuse("it has the attribute \"ref\", which is not supported");
    return nullptr;
  }
  DomElement child;
  if (element.GetFirstChildElement("simpleType", child)) {
    return TypeOfSimpleType(child);
  }
  if (element.GetFirstChildElement("complexType", child)) {
    return StructOfComplexType(child);
  }
  Refuse("it has no \"type\", and no type inside it");
  return nullptr;
}

MetadataPtr SchemaReader::TypeOfSimpleType(const DomElement& simple_type) {
  DomElement restriction;
  std::string base;
  if (BaseOf(simple_type, "restriction", restriction, base)) return Find(base);
  Refuse("it has no \"restriction\" with a \"base\"");
  return nullptr;
}

MetadataPtr SchemaReader::StructOfComplexType(const DomElement& complex_type) {
  DomElement sequence;
  if (complex_type.GetFirstChildElement("sequence", sequence)) {
    return StructOfSequence(sequence);
  }
  Refuse("it has no \"sequence\"");
  return nullptr;
}

MetadataPtr SchemaReader::StructOfSequence(const DomElement& sequence) {
  if (!IsElement(sequence)) return nullptr;
  // A tree that a program built may be of any depth.
  if (depth_ == FieldTable::kMaxDepth) {
    Refuse("structs are nested too deep");
    return nullptr;
  }
  MetadataPtr structure = MetadataPtr::Take(dm_o_struct_metadata_new());
  if (!structure) return nullptr;
  ++depth_;
  bool whole = true;
  // To the end also after a refusal, so that the log has every reference.
  DomElement child;
  for (bool is_there = sequence.GetFirstChild(child); is_there;
       is_there = child.GetNextSibling(child)) {
    if (IsElement(child) && child.LocalNameEqualTo("element")) {
      whole &= AppendField(structure.get(), child);
    }
  }
  --depth_;
  return whole ? std::move(structure) : nullptr;
}

bool SchemaReader::AppendField(void* structure, const DomElement& element) {
  const std::string name = element.Attribute("name");
  const bool is_first = reason_.empty();
  const MetadataPtr type = TypeOfElement(element, "load_metadata_from_element");
  if (type) {
    if (dm_o_struct_metadata_append(structure, name.c_str(), type.get())) {
      return true;
    }
    Refuse(ReasonOfNoField(name, type));
  }
  if (is_first && reason_.size() < kLongReason) {
    reason_ =
        (name.empty() ? "a field without a name" : "field " + Quoted(name)) +
        ": " + reason_;
  }
  return false;
}

}  // namespace dm
