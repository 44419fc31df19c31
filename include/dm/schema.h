#ifndef DM_SCHEMA_H_
#define DM_SCHEMA_H_

/* Types from XML Schema, and back. Compiles as C, the functions on elements
 * apart.
 *
 * Understood are simple types that restrict a type, complex types with a
 * sequence or with simple content that extends a type, and elements; facets,
 * occurrences, defaults and all else are passed over. Tags go by their local
 * name, and a type is meant without its prefix: xsd:int and int are one. A type
 * that is referred to must be registered by then.
 *
 * The words new and borrowed are those of dm/life.h, the threads those of
 * dm/registry.h. Nothing is thrown; null, an invalid element and a library that
 * is not started give false or null. Why something is refused is logged for an
 * element that has the attribute "ref" and for an export; dm::CheckSchema of
 * dm/schema_check.h tells the rest. `flags` is not looked at; give 0. */

#include "dm/registry.h"

#ifdef __cplusplus
namespace kiv {
class DomElement;
}
extern "C" {
#endif

/* --- Declare: register the types of a schema ------------------------------ */

/* With `replace` a name that exists is given to the new type; without, that
 * declaration is refused. What was registered before a refusal stays. */

/* First every simple type of the schema, then every complex type, then every
 * element. One that is refused does not stop its group, but the groups behind
 * it; the answer is then false. */
KIV_API bool dm_o_declare_from_mem(const char* buffer, unsigned length,
                                   uint32_t flags, bool replace);
/* The path of a file. */
KIV_API bool dm_o_declare_from_uri(const char* uri, uint32_t flags,
                                   bool replace);

/* --- Build: a struct type that has no name -------------------------------- */

/* New: the element of the schema whose name is the schema's "id", as an export
 * writes it. A type that is not registered is also found by its schema name, so
 * that what was exported can be read: hexBinary is. */
KIV_API void* dm_o_struct_metadata_from_mem(const char* buffer, unsigned length,
                                            uint32_t flags);
KIV_API void* dm_o_struct_metadata_from_uri(const char* uri, uint32_t flags);

/* --- Export --------------------------------------------------------------- */

/* New: a String with a schema of one element, in GB2312, both named
 * "System.Struct", for a struct type has no name of its own. Structs inside it
 * are written where they are. Null unless options is 0; null, and logged, for
 * what is no struct type, for a field of a type that has no schema name, for a
 * name that is no text, and for a schema that would exceed the limits of
 * kiv::DomParser. */
KIV_API void* dm_o_metadata_to_xsd(const void* metadata, unsigned options);
/* The same under a name, which the types get when it is declared. */
KIV_API void* dm_o_metadata_to_xsd_as(const void* metadata, const char* name);
/* That as a file. Readers see what the file held before or all of the schema;
 * false, and logged, also for a file that cannot be written. */
KIV_API bool dm_o_metadata_to_xsd_file(const void* metadata, const char* name,
                                       const char* path);

#ifdef __cplusplus

/* --- On elements of a document -------------------------------------------- */

KIV_API bool dm_o_declare_from_schema(const kiv::DomElement& schemaElement,
                                      uint32_t flags, bool replace);
/* A type without a name gets the name of the parent. */
KIV_API bool dm_o_declare_from_schema_simpleType(
    dm_registry_t* registry, const kiv::DomElement& parentElement,
    const kiv::DomElement& simpleType, uint32_t flags, bool replace);
KIV_API bool dm_o_declare_from_schema_complexType(
    dm_registry_t* registry, const kiv::DomElement& parentElement,
    const kiv::DomElement& complexType, uint32_t flags, bool replace);
/* A further name for the element's type; without one, a name for each of its
 * simple types, or else for each of its complex types. */
KIV_API bool dm_o_declare_from_schema_element(dm_registry_t* registry,
                                              const kiv::DomElement& element,
                                              uint32_t flags, bool replace);

/* New: the type that the element, as a field is one, or the simple type stands
 * for. No name is registered. */
KIV_API void* dm_o_metadata_from_schema_element(dm_registry_t* registry,
                                                const kiv::DomElement& element,
                                                uint32_t flags);
KIV_API void* dm_o_metadata_from_schema_simpleType(
    dm_registry_t* registry, const kiv::DomElement& parentElement,
    const kiv::DomElement& simpleType);

/* As dm_o_struct_metadata_from_mem. */
KIV_API void* dm_o_struct_metadata_from_schema(
    const kiv::DomElement& schemaElement, uint32_t flags);
/* New: of an element a struct type only, of the others one of its own. */
KIV_API void* dm_o_struct_metadata_from_schema_element(
    dm_registry_t* registry, const kiv::DomElement& element, uint32_t flags);
KIV_API void* dm_o_struct_metadata_from_schema_complexType(
    dm_registry_t* registry, const kiv::DomElement& parentElement,
    const kiv::DomElement& complexType, uint32_t flags);
KIV_API void* dm_o_struct_metadata_from_schema_sequence(
    dm_registry_t* registry, const kiv::DomElement& sequence, uint32_t flags);
}
#endif

#endif /* DM_SCHEMA_H_ */
