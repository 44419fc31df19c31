#ifndef STORE_ROWS_MESSAGES_H_
#define STORE_ROWS_MESSAGES_H_

#include <cstddef>
#include <string>

// The texts of whole records, in the local encoding. Values as Shown gives
// them.
namespace kiv::store::message {

std::string RowsFailed(const std::string& operation, const std::string& subject,
                       const std::string& why);
std::string NoDatabase();
std::string DatesCut(const std::string& table, std::size_t count);

}  // namespace kiv::store::message

#endif  // STORE_ROWS_MESSAGES_H_
