#ifndef XML_DOM_SAVE_H_
#define XML_DOM_SAVE_H_

#include "kiv/dom_document.h"

namespace kiv {

// DomDocument::SaveAs with the mode that a new file gets.
bool SaveDocument(const DomDocument& document, const char* path,
                  int new_file_mode);

}  // namespace kiv

#endif  // XML_DOM_SAVE_H_
