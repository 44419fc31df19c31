#ifndef DM_SCHEMA_MESSAGES_H_
#define DM_SCHEMA_MESSAGES_H_

#include <string>

// The texts of schema import and export, in the local encoding. Values as Shown
// gives them.
namespace dm::message {

// `function` as "load_metadata_from_element".
std::string ElementReferenceRefused(const std::string& function);

std::string NotAStruct();
std::string DocumentNotCreated();
std::string SchemaNotCreated();
std::string IdNotSet(const std::string& name);
std::string RootElementNotCreated();
std::string ContentNotCreated();
std::string FileNotWritten(const std::string& path, const std::string& reason);

std::string ComplexTypeNotCreated();
std::string SequenceNotCreated();
std::string ElementNotCreated();
std::string NameNotSet(const std::string& name);
std::string TypeNotSet(const std::string& type);
std::string TypeHasNoSchemaName(const std::string& field,
                                const std::string& type);

}  // namespace dm::message

#endif  // DM_SCHEMA_MESSAGES_H_
