#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include "dm/life.h"
#include "dm/object.h"
#include "dm/schema.h"
#include "dm/schema_messages.h"
#include "dm/values.h"
#include "kiv/dom.h"
#include "port/file.h"
#include "util/log_entry.h"

namespace dm {
namespace {

using kiv::DomElement;
using kiv::Shown;

constexpr const char* kElementTag = "xsd:element";

bool Refuse(const std::string& text) {
  kiv::LogError("Object", text);
  return false;
}

// False also for a text that would not be read back as it is: bytes that are no
// character.
bool SetText(DomElement& element, const char* attribute, const char* text) {
  return element.SetAttribute(attribute, text) &&
         element.Attribute(attribute) == text;
}

// Writes struct types into a document. Structs in structs are written out where
// they are, so few types can make a large schema.
class StructWriter {
 public:
  // Fills the "element" for a struct type.
  bool Write(DomElement& element, const char* name, const void* metadata) {
    if (!SetText(element, "name", name)) {
      return Refuse(message::NameNotSet(Shown(name)));
    }
    DomElement complex_type;
    if (!element.CreateElement("xsd:complexType", complex_type)) {
      return Refuse(message::ComplexTypeNotCreated());
    }
    DomElement sequence;
    if (!complex_type.CreateElement("xsd:sequence", sequence)) {
      return Refuse(message::SequenceNotCreated());
    }
    const std::size_t count = dm_o_struct_metadata_field_count(metadata);
    for (std::size_t i = 0; i < count; ++i) {
      if (!WriteField(sequence, dm_o_struct_metadata_field_name(metadata, i),
                      dm_o_struct_metadata_field_metadata(metadata, i))) {
        return false;
      }
    }
    return true;
  }

 private:
  // What a field takes at least beside its name.
  static constexpr std::size_t kFieldBytes =
      sizeof "<xsd:element name=\"\" type=\"int\"/>" - 1;
  static constexpr std::size_t kStructBytes =
      sizeof "<xsd:element name=\"\"><xsd:complexType><xsd:sequence/>"
             "</xsd:complexType></xsd:element>" -
      1;

  bool WriteField(DomElement& sequence, const char* name,
                  const void* metadata) {
    const bool is_struct = dm_o_is_struct_type_from_metadata(metadata);
    bytes_ += (is_struct ? kStructBytes : kFieldBytes) +
              std::char_traits<char>::length(name);
    // No parser would take it any more.
    if (bytes_ > kiv::DomParser::MaxBytes()) {
      return Refuse(message::ContentNotCreated());
    }
    DomElement element;
    if (!sequence.CreateElement(kElementTag, element)) {
      return Refuse(message::ElementNotCreated());
    }
    if (is_struct) {
      return Write(element, name, metadata);
    }
    const char* const type = SchemaNameOf(metadata);
    if (*type == '\0') {
      return Refuse(message::TypeHasNoSchemaName(
          Shown(name), dm_o_type_name_from_metadata(metadata)));
    }
    if (!SetText(element, "name", name)) {
      return Refuse(message::NameNotSet(Shown(name)));
    }
    return SetText(element, "type", type) || Refuse(message::TypeNotSet(type));
  }

  static const char* SchemaNameOf(const void* metadata) {
    const dm_type_info_t* const info = dm_o_type_info_from_metadata(metadata);
    return info == nullptr ? "" : info->schema_name;
  }

  std::size_t bytes_ = 0;
};

bool WriteSchema(kiv::DomDocument& document, const char* name,
                 const void* metadata) {
  DomElement schema;
  if (!document.CreateDocumentElement("xsd:schema", schema)) {
    return Refuse(message::SchemaNotCreated());
  }
  if (!schema.SetXmlSchemaNs() || !SetText(schema, "id", name)) {
    return Refuse(message::IdNotSet(Shown(name)));
  }
  DomElement element;
  if (!schema.CreateElement(kElementTag, element)) {
    return Refuse(message::RootElementNotCreated());
  }
  return StructWriter().Write(element, name, metadata);
}

// False, and logged, when there is no such schema.
bool Export(const void* metadata, const char* name,
            kiv::DomDocumentContent& content) {
  if (!dm_o_is_struct_type_from_metadata(metadata)) {
    return Refuse(message::NotAStruct());
  }
  kiv::DomDocument document;
  // Without the registry the library is not started, and making a document
  // would end the process.
  if (dm_o_registry() == nullptr ||
      !kiv::DomDocument::CreateDocument(document)) {
    return Refuse(message::DocumentNotCreated());
  }
  if (!WriteSchema(document, name, metadata)) return false;
  // Marks and quotes in names take more than was counted.
  return (document.GetDocumentContent(content, "GB2312") &&
          std::strlen(content.GetContent()) <= kiv::DomParser::MaxBytes()) ||
         Refuse(message::ContentNotCreated());
}

void* ExportText(const void* metadata, const char* name) {
  kiv::DomDocumentContent content;
  if (!Export(metadata, name, content)) return nullptr;
  auto text =
      ObjectPtr<int*>::Take(dm_o_new(DM_SIGN_DEFAULT + DM_STRING, nullptr));
  return dm_o_string_assign(text.get(), content.GetContent()) ? text.Release()
                                                              : nullptr;
}

bool ExportFile(const void* metadata, const char* name, const char* path) {
  kiv::DomDocumentContent content;
  if (!Export(metadata, name, content)) return false;
  if (kiv::port::ReplaceFileText(path, content.GetContent())) return true;
  const int error = kiv::port::LastError();
  return Refuse(
      message::FileNotWritten(Shown(path), kiv::port::ErrorText(error)));
}

bool IsText(const char* text) { return text != nullptr && *text != '\0'; }

}  // namespace
}  // namespace dm

void* dm_o_metadata_to_xsd(const void* metadata, unsigned options) try {
  if (options != 0) return nullptr;
  const char* const name = dm_o_type_name_from_metadata(metadata);
  return dm::ExportText(metadata, name == nullptr ? "" : name);
} catch (const std::exception&) {
  return nullptr;
}

void* dm_o_metadata_to_xsd_as(const void* metadata, const char* name) try {
  return dm::IsText(name) ? dm::ExportText(metadata, name) : nullptr;
} catch (const std::exception&) {
  return nullptr;
}

bool dm_o_metadata_to_xsd_file(const void* metadata, const char* name,
                               const char* path) try {
  return dm::IsText(name) && dm::IsText(path) &&
         dm::ExportFile(metadata, name, path);
} catch (const std::exception&) {
  return false;
}
