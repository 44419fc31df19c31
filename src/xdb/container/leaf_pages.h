#ifndef XDB_CONTAINER_LEAF_PAGES_H_
#define XDB_CONTAINER_LEAF_PAGES_H_

#include <functional>
#include <string>
#include <string_view>

namespace kiv::xdb {

// What the leaf pages of a container file hold, page by page, of whatever
// table, and whatever leads to a page or does not: for a file that Berkeley DB
// does not read any more. Pages and items without sense are passed over; an
// item may be of an earlier time than another.
//
// Not for encrypted files. Throws StoreError when the file cannot be read at
// all.
void EachLeafItem(const std::string& path,
                  const std::function<void(std::string_view key,
                                           std::string_view value)>& each);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_LEAF_PAGES_H_
