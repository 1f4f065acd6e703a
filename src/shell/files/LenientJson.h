#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>

#include <optional>

// A JSON reader that accepts what other installations write: a comma
// behind the last element of an array or object, a byte order mark, and
// the bare words nan, inf and -inf as numbers. Everything else is plain
// JSON: a raw control character inside a text, bad UTF-8, or trailing
// garbage is an error. Nesting is limited so that hostile input can't
// exhaust the stack.
namespace LenientJson {

inline constexpr int kMaxDepth = 256;

// The value, or nothing with a reason (and the byte offset in it).
std::optional<QJsonValue> parse(const QByteArray& bytes, QString* error);

// Typed reads of a value, as a lenient JSON wrapper reads them.
double toDouble(const QJsonValue& v);   // number; text holding a number; bool 1/0; else 0
QString toText(const QJsonValue& v);    // text; number as its text; bool "true"/"false"; else ""
// The leading number of a text ("12.5abc" is 12.5); 0 when there is none.
double leadingNumber(const QString& text);

}  // namespace LenientJson
