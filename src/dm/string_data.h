#ifndef DM_STRING_DATA_H_
#define DM_STRING_DATA_H_

#include <string>
#include <string_view>

// The data of a String has the size of a std::string and, where its address
// suits one, is one. A field packed at another address cannot hold a
// std::string; its data begin with a pointer to one on the heap, null as long
// as the text is empty.
//
// Any address tells by itself which of the two it is, so that the data of a
// String and a caller's std::string can both be copied from.
namespace dm {

const std::string& StringAt(const void* data);
// False when memory is short.
bool AssignStringAt(void* data, std::string_view text);

}  // namespace dm

#endif  // DM_STRING_DATA_H_
