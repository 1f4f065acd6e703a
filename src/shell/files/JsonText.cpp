#include "JsonText.h"

#include <charconv>
#include <cmath>
#include <string>

namespace JsonText {

QString number(double value) {
    if (std::isnan(value)) return QStringLiteral("nan");
    if (std::isinf(value)) return value < 0 ? QStringLiteral("-inf") : QStringLiteral("inf");
    if (value == 0.0) return std::signbit(value) ? QStringLiteral("-0.0") : QStringLiteral("0.0");
    // The shortest digits that read back, then laid out: plain decimals for
    // ordinary magnitudes, exponent form below 1e-4 and above 2^54.
    char buf[64];
    const auto sci = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::scientific);
    const std::string s(buf, sci.ptr);
    const double magnitude = std::fabs(value);
    if (magnitude < 1e-4 || magnitude > 18014398509481984.0) return QString::fromStdString(s);
    const auto fixed = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
    QString text = QString::fromLatin1(buf, int(fixed.ptr - buf));
    if (!text.contains(u'.')) text += QStringLiteral(".0");
    return text;
}

QString escaped(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (QChar c : text) {
        switch (c.unicode()) {
        case u'"': out += QStringLiteral("\\\""); break;
        case u'\\': out += QStringLiteral("\\\\"); break;
        case u'\n': out += QStringLiteral("\\n"); break;
        case u'\r': out += QStringLiteral("\\r"); break;
        case u'\t': out += QStringLiteral("\\t"); break;
        case u'\b': out += QStringLiteral("\\b"); break;
        case u'\f': out += QStringLiteral("\\f"); break;
        default:
            if (c.unicode() < 0x20)
                out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
            else
                out += c;
        }
    }
    return out;
}

}  // namespace JsonText
