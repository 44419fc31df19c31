#include <exception>
#include <utility>

#include "dm/schema.h"
#include "dm/schema_reader.h"

namespace dm {
namespace {

using kiv::DomElement;

// No exception leaves: memory may run short.
template <typename Call>
bool Declared(dm_registry_t* registry, bool replace, Call call) try {
  if (registry == nullptr) return false;
  SchemaReader reader(*registry, replace);
  return call(reader);
} catch (const std::exception&) {
  return false;
}

template <typename Call>
void* Built(
    dm_registry_t* registry, Call call,
    SchemaReader::Lookup lookup = SchemaReader::Lookup::Registered) try {
  if (registry == nullptr) return nullptr;
  SchemaReader reader(*registry, false, lookup);
  return call(reader).Release();
} catch (const std::exception&) {
  return nullptr;
}

// A document of its own parser; it must outlive the element.
struct Schema {
  // Without the registry the library is not started, and a parser would end the
  // process.
  bool ReadMemory(const char* buffer, unsigned length) {
    return dm_o_registry() != nullptr && buffer != nullptr &&
           parser.parseMem(buffer, length, document) &&
           document.GetDocumentElement(root);
  }
  bool ReadFile(const char* path) {
    return dm_o_registry() != nullptr && parser.parseURI(path, document) &&
           document.GetDocumentElement(root);
  }

  kiv::DomParser parser;
  kiv::DomDocument document;
  DomElement root;
};

template <typename Read, typename Use>
auto WithSchema(Read read, Use use) -> decltype(use(DomElement())) try {
  Schema schema;
  if (!read(schema)) return {};
  return use(schema.root);
} catch (const std::exception&) {
  return {};
}

MetadataPtr StructOnly(MetadataPtr type) {
  return dm_o_is_struct_type_from_metadata(type.get()) ? std::move(type)
                                                       : nullptr;
}

}  // namespace
}  // namespace dm

using dm::SchemaReader;
using kiv::DomElement;

bool dm_o_declare_from_schema(const DomElement& schemaElement, uint32_t,
                              bool replace) {
  return dm::Declared(dm_o_registry(), replace, [&](SchemaReader& reader) {
    return reader.DeclareSchema(schemaElement);
  });
}

bool dm_o_declare_from_schema_simpleType(dm_registry_t* registry,
                                         const DomElement& parentElement,
                                         const DomElement& simpleType, uint32_t,
                                         bool replace) {
  return dm::Declared(registry, replace, [&](SchemaReader& reader) {
    return reader.DeclareSimpleType(parentElement, simpleType);
  });
}

bool dm_o_declare_from_schema_complexType(dm_registry_t* registry,
                                          const DomElement& parentElement,
                                          const DomElement& complexType,
                                          uint32_t, bool replace) {
  return dm::Declared(registry, replace, [&](SchemaReader& reader) {
    return reader.DeclareComplexType(parentElement, complexType);
  });
}

bool dm_o_declare_from_schema_element(dm_registry_t* registry,
                                      const DomElement& element, uint32_t,
                                      bool replace) {
  return dm::Declared(registry, replace, [&](SchemaReader& reader) {
    return reader.DeclareElement(element);
  });
}

bool dm_o_declare_from_mem(const char* buffer, unsigned length, uint32_t flags,
                           bool replace) {
  return dm::WithSchema(
      [&](dm::Schema& schema) { return schema.ReadMemory(buffer, length); },
      [&](const DomElement& root) {
        return dm_o_declare_from_schema(root, flags, replace);
      });
}

bool dm_o_declare_from_uri(const char* uri, uint32_t flags, bool replace) {
  return dm::WithSchema(
      [&](dm::Schema& schema) { return schema.ReadFile(uri); },
      [&](const DomElement& root) {
        return dm_o_declare_from_schema(root, flags, replace);
      });
}

void* dm_o_metadata_from_schema_element(dm_registry_t* registry,
                                        const DomElement& element, uint32_t) {
  return dm::Built(registry, [&](SchemaReader& reader) {
    return reader.TypeOfElement(element);
  });
}

void* dm_o_metadata_from_schema_simpleType(dm_registry_t* registry,
                                           const DomElement&,
                                           const DomElement& simpleType) {
  return dm::Built(registry, [&](SchemaReader& reader) {
    return reader.TypeOfSimpleType(simpleType);
  });
}

void* dm_o_struct_metadata_from_schema(const DomElement& schemaElement,
                                       uint32_t) {
  return dm::Built(
      dm_o_registry(),
      [&](SchemaReader& reader) -> dm::MetadataPtr {
        std::string id;
        DomElement element;
        if (!schemaElement.Attribute("id", id) ||
            !schemaElement.GetFirstChildElement("element", element, "name",
                                                id.c_str())) {
          return nullptr;
        }
        return dm::StructOnly(reader.TypeOfElement(element));
      },
      SchemaReader::Lookup::RegisteredOrSchemaName);
}

void* dm_o_struct_metadata_from_schema_element(dm_registry_t* registry,
                                               const DomElement& element,
                                               uint32_t) {
  return dm::Built(registry, [&](SchemaReader& reader) {
    return dm::StructOnly(reader.TypeOfElement(element));
  });
}

void* dm_o_struct_metadata_from_schema_complexType(
    dm_registry_t* registry, const DomElement&, const DomElement& complexType,
    uint32_t) {
  return dm::Built(registry, [&](SchemaReader& reader) {
    return reader.StructOfComplexType(complexType);
  });
}

void* dm_o_struct_metadata_from_schema_sequence(dm_registry_t* registry,
                                                const DomElement& sequence,
                                                uint32_t) {
  return dm::Built(registry, [&](SchemaReader& reader) {
    return reader.StructOfSequence(sequence);
  });
}

void* dm_o_struct_metadata_from_mem(const char* buffer, unsigned length,
                                    uint32_t flags) {
  return dm::WithSchema(
      [&](dm::Schema& schema) { return schema.ReadMemory(buffer, length); },
      [&](const DomElement& root) {
        return dm_o_struct_metadata_from_schema(root, flags);
      });
}

void* dm_o_struct_metadata_from_uri(const char* uri, uint32_t flags) {
  return dm::WithSchema(
      [&](dm::Schema& schema) { return schema.ReadFile(uri); },
      [&](const DomElement& root) {
        return dm_o_struct_metadata_from_schema(root, flags);
      });
}
