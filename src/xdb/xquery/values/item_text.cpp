#include "xdb/xquery/values/calendar.h"
#include "xdb/xquery/values/cast.h"

namespace kiv::xdb::xq {

void AppendTextOf(const Item& value, std::string& text) {
  const Type type = value.type();
  if (IsText(type)) {
    text += value.AsText();
  } else if (value.IsSmallInteger()) {
    text += std::to_string(value.AsSmallInteger());
  } else if (IsDecimal(type)) {
    text += value.AsDecimal().ToText();
  } else if (type == Type::Double) {
    AppendDouble(value.AsDouble(), text);
  } else if (type == Type::Float) {
    AppendFloat(value.AsFloat(), text);
  } else if (type == Type::Boolean) {
    text += value.AsBoolean() ? "true" : "false";
  } else if (IsCalendar(type)) {
    AppendCalendar(value.AsCalendar(), type, text);
  } else if (IsDuration(type)) {
    AppendDuration(value.AsDuration(), type, text);
  } else if (type == Type::HexBinary) {
    AppendHex(value.AsText(), text);
  } else if (type == Type::Base64Binary) {
    AppendBase64(value.AsText(), text);
  } else if (type == Type::QName || type == Type::Notation) {
    const QName& name = value.AsQName();
    if (!name.prefix.empty()) text += name.prefix + ":";
    text += name.local;
  }
}

Item StringOf(const Item& value) {
  if (IsText(value.type())) return value.As(Type::String);
  return Item::OfText(TextOf(value));
}

}  // namespace kiv::xdb::xq
