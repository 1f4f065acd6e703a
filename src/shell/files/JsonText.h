#pragma once

#include <QString>

// Pieces of the JSON texts we write by hand, so that every file exchanged
// with other installations keeps its layout byte for byte.
namespace JsonText {

// The default text of a double: the shortest decimal that reads back as the
// same value, with at least one digit after the point ("52.0"); very small
// and very large magnitudes in exponent form ("1e-05").
QString number(double value);

// Quotation marks, backslashes and control characters escaped, so that the
// text reads back from any file we write.
QString escaped(const QString& text);

}  // namespace JsonText
