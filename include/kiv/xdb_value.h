#ifndef KIV_XDB_VALUE_H_
#define KIV_XDB_VALUE_H_

#include <memory>
#include <string>

#include "kiv/export.h"

namespace kiv {

class DomNode;
class XDbDocument;

namespace xdb {
class QueryValue;
struct XDbAccess;
}  // namespace xdb

// One item of a query's result, or the value of a variable. Immutable but for
// assignment; copies share the item.
class KIV_API XDbValue {
 public:
  // Empty: all tests answer false, isNull too.
  XDbValue();
  XDbValue(const std::string& value);
  // Null counts as "".
  XDbValue(const char* value);
  XDbValue(double value);
  XDbValue(bool value);
  XDbValue(const XDbValue& other);
  XDbValue& operator=(const XDbValue& other);
  ~XDbValue();

  bool isNumber() const;
  bool isString() const;
  bool isBoolean() const;
  bool isNode() const;
  bool isNull() const;

  // The value as a text, a number (not a number where it is none), a truth
  // value as queries see it: "", 0 and not a number are false. "", 0.0 and
  // false when empty.
  std::string asString() const;
  double asNumber() const;
  bool asBoolean() const;
  // As asString(), in UTF-8: no character is lost.
  std::string asUtf8() const;
  // A node as XML, an attribute as name="value", any other value as the text of
  // an element; in UTF-8.
  std::string asXml() const;

  // The node in the tree of its whole document. The tree belongs to this value
  // and its copies: it dies with the last of them, and when that is assigned
  // to. False for a value that is no node, and for a node outside any document.
  bool asNode(DomNode& out) const;
  // A copy of the document that the node stands in.
  bool asDocument(XDbDocument& out) const;

  // Of the same kind and equal; two nodes when they are the same node. False
  // when either is empty.
  bool equals(const XDbValue& other) const;
  bool operator==(const XDbValue& other) const { return equals(other); }

 private:
  friend class XDbResults;
  friend class XDbQueryContext;
  friend struct xdb::XDbAccess;
  struct Tree;
  static XDbValue Of(const std::shared_ptr<const xdb::QueryValue>& value);

  std::shared_ptr<const xdb::QueryValue> value_;
  std::shared_ptr<Tree> tree_;
};

}  // namespace kiv

#endif  // KIV_XDB_VALUE_H_
