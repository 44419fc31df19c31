#include "kiv/xdb_value.h"

#include <mutex>

#include "kiv/dom_document.h"
#include "kiv/xdb_document.h"
#include "xdb/atomic_value.h"
#include "xdb/query_engine.h"
#include "xdb/xdb_text.h"
#include "xml/owned_document.h"

namespace kiv {

using xdb::Try;
using Kind = xdb::QueryValue::Kind;

namespace {

bool IsA(const std::shared_ptr<const xdb::QueryValue>& value, Kind kind) {
  return value != nullptr && value->kind() == kind;
}

}  // namespace

// The tree of a node's document, read when it is first asked for.
struct XDbValue::Tree {
  std::once_flag once;
  DomDocument document;
};

XDbValue::XDbValue() = default;

XDbValue::XDbValue(const std::string& value) {
  Try("XDbValue::XDbValue exception: ", [&] {
    value_ = xdb::MakeString(xdb::Utf8Text(value, "the value"));
    return true;
  });
}

XDbValue::XDbValue(const char* value)
    : XDbValue(std::string(value == nullptr ? "" : value)) {}

XDbValue::XDbValue(double value) : value_(xdb::MakeNumber(value)) {}

XDbValue::XDbValue(bool value) : value_(xdb::MakeBoolean(value)) {}

XDbValue::XDbValue(const XDbValue& other) = default;
XDbValue& XDbValue::operator=(const XDbValue& other) = default;
XDbValue::~XDbValue() = default;

XDbValue XDbValue::Of(const std::shared_ptr<const xdb::QueryValue>& value) {
  XDbValue out;
  if (IsA(value, Kind::Node)) out.tree_ = std::make_shared<Tree>();
  out.value_ = value;
  return out;
}

bool XDbValue::isNumber() const { return IsA(value_, Kind::Number); }
bool XDbValue::isString() const { return IsA(value_, Kind::String); }
bool XDbValue::isBoolean() const { return IsA(value_, Kind::Boolean); }
bool XDbValue::isNode() const { return IsA(value_, Kind::Node); }
// XQuery knows no null: where nothing is found there is no item, and what holds
// nothing holds no null either.
bool XDbValue::isNull() const { return false; }

std::string XDbValue::asString() const {
  std::string text;
  if (value_ == nullptr) return text;
  Try("XDbValue::asString exception: ", [&] {
    text = xdb::LocalText(value_->AsString());
    return true;
  });
  return text;
}

std::string XDbValue::asUtf8() const {
  std::string text;
  if (value_ == nullptr) return text;
  Try("XDbValue::asUtf8 exception: ", [&] {
    text = value_->AsString();
    return true;
  });
  return text;
}

std::string XDbValue::asXml() const {
  std::string xml;
  if (value_ == nullptr) return xml;
  Try("XDbValue::asXml exception: ", [&] {
    xml = value_->AsXml();
    return true;
  });
  return xml;
}

double XDbValue::asNumber() const {
  double number = 0;
  if (value_ == nullptr) return number;
  Try("XDbValue::asNumber exception: ", [&] {
    number = value_->AsNumber();
    return true;
  });
  return number;
}

bool XDbValue::asBoolean() const {
  if (value_ == nullptr) return false;
  return Try("XDbValue::asBoolean exception: ",
             [&] { return value_->AsBoolean(); });
}

bool XDbValue::asNode(DomNode& out) const {
  if (!isNode() || tree_ == nullptr) return false;
  return Try("XDbValue::asNode exception: ", [&] {
    const xdb::NodePlace place = value_->Place();
    if (place.document == nullptr) return false;
    std::call_once(tree_->once, [&] {
      ReadOwnedDocument(place.document->content, tree_->document);
    });
    DomNode node = NodeAt(tree_->document, place.steps);
    if (place.is_attribute)
      node = AttributeAt(node, place.attribute_uri, place.attribute_name);
    if (node.IsValid()) out = node;
    return node.IsValid();
  });
}

bool XDbValue::asDocument(XDbDocument& out) const {
  if (!isNode()) return false;
  return Try("XDbValue::asDocument exception: ", [&] {
    const xdb::NodePlace place = value_->Place();
    if (place.document == nullptr) return false;
    return out.Assign(xdb::StoredDocument(*place.document));
  });
}

bool XDbValue::equals(const XDbValue& other) const {
  if (value_ == nullptr || other.value_ == nullptr) return false;
  return Try("XDbValue::equals exception: ",
             [&] { return value_->Equals(*other.value_); });
}

}  // namespace kiv
