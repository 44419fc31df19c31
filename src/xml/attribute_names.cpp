#include "xml/attribute_names.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>

#include "xml/dom_tree.h"

namespace kiv {
namespace {

constexpr XMLSize_t kBlockSize = 64;

}  // namespace

const WideChar* FindUnwritableAttribute(const xercesc::DOMNode& top,
                                        const WideChar* encoding) {
  xercesc::XMLTransService::Codes result;
  const std::unique_ptr<xercesc::XMLTranscoder> transcoder(
      xercesc::XMLPlatformUtils::fgTransService->makeNewTranscoderFor(
          encoding, result, kBlockSize));
  if (!transcoder) return nullptr;
  const auto is_writable = [&](WideChar unit) {
    return unit < 0x80 || transcoder->canTranscodeTo(unit);
  };
  const WideChar* found = nullptr;
  Walk(top, [&](const xercesc::DOMNode& node, unsigned) {
    const xercesc::DOMNamedNodeMap* attributes = node.getAttributes();
    const XMLSize_t count = attributes ? attributes->getLength() : 0;
    for (XMLSize_t i = 0; i < count && found == nullptr; ++i) {
      const WideChar* name = attributes->item(i)->getNodeName();
      const std::u16string_view units(name);
      if (!std::all_of(units.begin(), units.end(), is_writable)) found = name;
    }
    return found == nullptr;
  });
  return found;
}

}  // namespace kiv
