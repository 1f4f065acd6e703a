#include "LenientJson.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringDecoder>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale.h>

namespace LenientJson {

namespace {

class Parser {
public:
    explicit Parser(const QString& text) : s_(text) {}

    std::optional<QJsonValue> document(QString* error) {
        skipSpace();
        std::optional<QJsonValue> v = value(0);
        if (v) {
            skipSpace();
            if (i_ != s_.size()) v = fail("unexpected text after the end");
        }
        if (!v && error) *error = QStringLiteral("%1 at character %2").arg(why_).arg(i_);
        return v;
    }

private:
    std::optional<QJsonValue> fail(const char* why) {
        if (why_.isEmpty()) why_ = QString::fromLatin1(why);
        return std::nullopt;
    }
    bool atEnd() const { return i_ >= s_.size(); }
    QChar peek() const { return atEnd() ? QChar() : s_.at(i_); }
    void skipSpace() {
        while (!atEnd()) {
            const char16_t c = s_.at(i_).unicode();
            if (c != u' ' && c != u'\t' && c != u'\n' && c != u'\r') break;
            ++i_;
        }
    }
    bool word(QLatin1String w) {
        if (QStringView(s_).mid(i_, w.size()) != w) return false;
        i_ += w.size();
        return true;
    }

    std::optional<QJsonValue> value(int depth) {
        if (depth > kMaxDepth) return fail("nested too deeply");
        if (atEnd()) return fail("unexpected end of text");
        const QChar c = peek();
        if (c == u'{') return object(depth);
        if (c == u'[') return array(depth);
        if (c == u'"') {
            std::optional<QString> t = string();
            if (!t) return std::nullopt;
            return QJsonValue(*t);
        }
        if (word(QLatin1String("true"))) return QJsonValue(true);
        if (word(QLatin1String("false"))) return QJsonValue(false);
        if (word(QLatin1String("null"))) return QJsonValue(QJsonValue::Null);
        if (word(QLatin1String("nan"))) return QJsonValue(std::numeric_limits<double>::quiet_NaN());
        if (word(QLatin1String("inf"))) return QJsonValue(std::numeric_limits<double>::infinity());
        if (word(QLatin1String("-inf"))) return QJsonValue(-std::numeric_limits<double>::infinity());
        if (c == u'-' || (c >= u'0' && c <= u'9')) return number();
        return fail("unexpected character");
    }

    std::optional<QJsonValue> number() {
        const qsizetype start = i_;
        auto digits = [this] {
            const qsizetype from = i_;
            while (!atEnd() && peek() >= u'0' && peek() <= u'9') ++i_;
            return i_ - from;
        };
        if (peek() == u'-') ++i_;
        if (peek() == u'0') {
            ++i_;
        } else if (digits() == 0) {
            return fail("bad number");
        }
        if (peek() == u'.') {
            ++i_;
            if (digits() == 0) return fail("bad number");
        }
        if (peek() == u'e' || peek() == u'E') {
            ++i_;
            if (peek() == u'+' || peek() == u'-') ++i_;
            if (digits() == 0) return fail("bad number");
        }
        const QByteArray text = QStringView(s_).mid(start, i_ - start).toLatin1();
        static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
        return QJsonValue(strtod_l(text.constData(), nullptr, cLocale));
    }

    std::optional<QString> string() {
        ++i_;  // the opening quotation mark
        QString out;
        while (true) {
            if (atEnd()) {
                fail("unterminated text");
                return std::nullopt;
            }
            const QChar c = s_.at(i_++);
            if (c == u'"') return out;
            if (c.unicode() < 0x20) {
                fail("control character inside a text");
                return std::nullopt;
            }
            if (c != u'\\') {
                out.append(c);
                continue;
            }
            if (atEnd()) {
                fail("unterminated text");
                return std::nullopt;
            }
            const QChar e = s_.at(i_++);
            switch (e.unicode()) {
            case u'"': out.append(u'"'); break;
            case u'\\': out.append(u'\\'); break;
            case u'/': out.append(u'/'); break;
            case u'b': out.append(u'\b'); break;
            case u'f': out.append(u'\f'); break;
            case u'n': out.append(u'\n'); break;
            case u'r': out.append(u'\r'); break;
            case u't': out.append(u'\t'); break;
            case u'u': {
                if (i_ + 4 > s_.size()) {
                    fail("bad escape");
                    return std::nullopt;
                }
                bool ok = false;
                const ushort code = QStringView(s_).mid(i_, 4).toUShort(&ok, 16);
                if (!ok) {
                    fail("bad escape");
                    return std::nullopt;
                }
                i_ += 4;
                out.append(QChar(code));
                break;
            }
            default:
                fail("bad escape");
                return std::nullopt;
            }
        }
    }

    std::optional<QJsonValue> array(int depth) {
        ++i_;
        QJsonArray a;
        skipSpace();
        if (peek() == u']') {
            ++i_;
            return QJsonValue(a);
        }
        while (true) {
            skipSpace();
            std::optional<QJsonValue> v = value(depth + 1);
            if (!v) return std::nullopt;
            a.append(*v);
            skipSpace();
            if (peek() == u',') {
                ++i_;
                skipSpace();
                if (peek() == u']') {  // a comma behind the last element
                    ++i_;
                    return QJsonValue(a);
                }
                continue;
            }
            if (peek() == u']') {
                ++i_;
                return QJsonValue(a);
            }
            return fail(atEnd() ? "unexpected end of text" : "expected , or ]");
        }
    }

    std::optional<QJsonValue> object(int depth) {
        ++i_;
        QJsonObject o;
        skipSpace();
        if (peek() == u'}') {
            ++i_;
            return QJsonValue(o);
        }
        while (true) {
            skipSpace();
            if (peek() != u'"') return fail(atEnd() ? "unexpected end of text" : "expected a member name");
            std::optional<QString> key = string();
            if (!key) return std::nullopt;
            skipSpace();
            if (peek() != u':') return fail("expected :");
            ++i_;
            skipSpace();
            std::optional<QJsonValue> v = value(depth + 1);
            if (!v) return std::nullopt;
            o.insert(*key, *v);
            skipSpace();
            if (peek() == u',') {
                ++i_;
                skipSpace();
                if (peek() == u'}') {
                    ++i_;
                    return QJsonValue(o);
                }
                continue;
            }
            if (peek() == u'}') {
                ++i_;
                return QJsonValue(o);
            }
            return fail(atEnd() ? "unexpected end of text" : "expected , or }");
        }
    }

    const QString& s_;
    qsizetype i_ = 0;
    QString why_;
};

}  // namespace

std::optional<QJsonValue> parse(const QByteArray& bytes, QString* error) {
    QByteArray data = bytes;
    if (data.startsWith("\xEF\xBB\xBF")) data.remove(0, 3);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(data);
    if (decoder.hasError()) {
        if (error) *error = QStringLiteral("the text isn't UTF-8");
        return std::nullopt;
    }
    if (text.contains(QChar(0))) {
        if (error) *error = QStringLiteral("the text holds a zero byte");
        return std::nullopt;
    }
    return Parser(text).document(error);
}

double leadingNumber(const QString& text) {
    const QString t = text.trimmed();
    qsizetype i = 0;
    auto digits = [&] {
        const qsizetype from = i;
        while (i < t.size() && t.at(i) >= u'0' && t.at(i) <= u'9') ++i;
        return i - from;
    };
    if (i < t.size() && (t.at(i) == u'-' || t.at(i) == u'+')) ++i;
    qsizetype n = digits();
    if (i < t.size() && t.at(i) == u'.') {
        ++i;
        n += digits();
    }
    if (n == 0) return 0.0;
    const qsizetype mantissaEnd = i;
    if (i < t.size() && (t.at(i) == u'e' || t.at(i) == u'E')) {
        ++i;
        if (i < t.size() && (t.at(i) == u'-' || t.at(i) == u'+')) ++i;
        if (digits() == 0) i = mantissaEnd;
    }
    const QByteArray bytes = t.left(i).toLatin1();
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
    return strtod_l(bytes.constData(), nullptr, cLocale);
}

double toDouble(const QJsonValue& v) {
    switch (v.type()) {
    case QJsonValue::Double: return v.toDouble();
    case QJsonValue::String: return leadingNumber(v.toString());
    case QJsonValue::Bool: return v.toBool() ? 1.0 : 0.0;
    default: return 0.0;
    }
}

QString toText(const QJsonValue& v) {
    switch (v.type()) {
    case QJsonValue::String: return v.toString();
    case QJsonValue::Double: {
        const double d = v.toDouble();
        if (d == std::trunc(d) && std::fabs(d) < 1e15) return QString::number(qint64(d));
        return QString::number(d, 'g', 17);
    }
    case QJsonValue::Bool: return v.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    default: return QString(QLatin1String(""));
    }
}

}  // namespace LenientJson
