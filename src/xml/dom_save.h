#ifndef XML_DOM_SAVE_H_
#define XML_DOM_SAVE_H_

#include <string>

#include "kiv/dom_document.h"

namespace kiv {

// DomDocument::SaveAs with the mode that a new file gets. A failure is logged;
// `reason`, which may be null, is its reason alone.
bool SaveDocument(const DomDocument& document, const char* path,
                  int new_file_mode, std::string* reason = nullptr);

}  // namespace kiv

#endif  // XML_DOM_SAVE_H_
