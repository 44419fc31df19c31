#ifndef XDB_TREE_TREE_TEXT_H_
#define XDB_TREE_TREE_TEXT_H_

#include <string>
#include <string_view>

#include "xdb/tree/dictionary.h"

namespace kiv::xdb {

// A stored tree as a document again, whose canonical form is that of the
// document it was made of. In the declared encoding where that is UTF-8 or one
// of the GB family, else in UTF-8, which the declaration then says; in UTF-8
// also where a name, a comment or an instruction has a character that the GB
// encoding lacks.
//
// Throws TreeError as Tree does.
std::string TreeText(std::string_view bytes, const Dictionary& dictionary);

}  // namespace kiv::xdb

#endif  // XDB_TREE_TREE_TEXT_H_
