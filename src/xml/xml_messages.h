#ifndef XML_XML_MESSAGES_H_
#define XML_XML_MESSAGES_H_

#include <string>

// The Chinese texts of XML documents, in the local encoding. Values as Shown
// gives them.
namespace kiv::message {

// `operation` as "DomParser::Initialize".
std::string PlatformIsMissing(const std::string& operation,
                              const std::string& reason);
std::string NoDocumentContent();
std::string DocumentNotWritten(const std::string& path,
                               const std::string& reason);

}  // namespace kiv::message

#endif  // XML_XML_MESSAGES_H_
