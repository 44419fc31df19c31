#ifndef XML_DOCUMENT_BYTES_H_
#define XML_DOCUMENT_BYTES_H_

#include <cstddef>
#include <string>
#include <string_view>

// The bytes of a document, and what is wrong with them where the XML library
// would blame something else for it.
namespace kiv {

// The whole file. Throws DocumentRefused.
std::string ReadDocument(const std::string& native_path);

// Throws DocumentRefused for
// - no bytes, or more than DomParser::MaxBytes();
// - a NUL in 8-bit text: the library would take it for the end of the document
//   and blame something else;
// - bytes that are no UTF-8 where the document says UTF-8, or says nothing.
//   That is what a GB2312 document without a declaration looks like.
void CheckBytes(std::string_view document);

[[noreturn]] void RefuseSize(std::size_t max_bytes);

}  // namespace kiv

#endif  // XML_DOCUMENT_BYTES_H_
