#ifndef XML_ELEMENT_LINES_H_
#define XML_ELEMENT_LINES_H_

#include <string>
#include <vector>

namespace kiv {

// The line, from 1, on which the start tag of every element ends, in document
// order. For tools that point into a file: a DOM node does not know where it
// came from. `path` is that of a document that DomParser has taken, so that its
// limits hold here too. Empty on failure.
std::vector<unsigned> ReadElementLines(const std::string& path);

}  // namespace kiv

#endif  // XML_ELEMENT_LINES_H_
