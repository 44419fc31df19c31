#ifndef STORE_STORE_MESSAGES_H_
#define STORE_STORE_MESSAGES_H_

#include <string>

// The texts of the record store that are not ASCII, in the local encoding.
// Values as Shown gives them.
namespace kiv::store::message {

// Of Factory and Table. `connection` without passwords.
std::string ConnectionNotCreated(const std::string& connection);
std::string FieldTypeMissing(std::size_t field);
std::string FieldNameMissing(std::size_t field);
std::string FieldTypeIsNoValue(std::size_t field, const std::string& type);
std::string FieldNotCreated(std::size_t field, const std::string& name);

// Of every back end; `class_name` comes first, then "::" and the operation.
std::string EmptyName(const std::string& class_name,
                      const std::string& operation);
std::string NoTableInstance(const std::string& class_name,
                            const std::string& operation,
                            const std::string& name);
// operation GetTable, call GetTable and the like.
std::string CallFailed(const std::string& class_name,
                       const std::string& operation, const std::string& call,
                       const std::string& name);

// Of CreateColumn.
std::string ColumnTypeEmpty(const std::string& class_name,
                            const std::string& name);
std::string ColumnTypeIsNoValue(const std::string& class_name,
                                const std::string& name,
                                const std::string& type);
std::string ColumnLengthNegative(const std::string& class_name,
                                 const std::string& type, long length);
std::string ColumnTypeNotHandled(const std::string& class_name,
                                 const std::string& type);

}  // namespace kiv::store::message

#endif  // STORE_STORE_MESSAGES_H_
