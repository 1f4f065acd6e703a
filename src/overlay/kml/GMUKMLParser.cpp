#include "GMUKMLParser.h"

#include <expat.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>

namespace {

// Which patterns an element name matches, one bit each.
enum : unsigned {
    kMatchStyle = 1,
    kMatchGeometry = 2,
    kMatchCompass = 4,
    kMatchBoundary = 8,
    kMatchStyleAttribute = 16,
    kMatchGeometryAttribute = 32,
    kMatchPairAttribute = 64,
};
constexpr std::size_t kNameCacheLimit = 1024;

// Byte length of the white space that starts at `i` (ASCII, or Unicode in
// UTF-8), 0 when none does: text pasted from documents brings no-break
// spaces into coordinates.
std::size_t blankAt(std::string_view s, std::size_t i) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c == ' ' || (c >= '\t' && c <= '\r'))
        return 1;
    if (c == 0xC2 && i + 1 < s.size()) {
        const auto d = static_cast<unsigned char>(s[i + 1]);
        return d == 0x85 || d == 0xA0 ? 2 : 0;
    }
    if (c >= 0xE1 && c <= 0xE3 && i + 2 < s.size()) {
        const auto d = static_cast<unsigned char>(s[i + 1]), e = static_cast<unsigned char>(s[i + 2]);
        const bool blank = (c == 0xE1 && d == 0x9A && e == 0x80) ||                    // U+1680
                           (c == 0xE2 && d == 0x80 && ((e >= 0x80 && e <= 0x8A) ||     // U+2000-200A
                                                       e == 0xA8 || e == 0xA9 || e == 0xAF)) ||
                           (c == 0xE2 && d == 0x81 && e == 0x9F) ||                    // U+205F
                           (c == 0xE3 && d == 0x80 && e == 0x80);                      // U+3000
        return blank ? 3 : 0;
    }
    return 0;
}

// Never white space: the common case, decided without looking further.
bool isPrintableAscii(char c) {
    return static_cast<unsigned char>(c) > ' ' && static_cast<unsigned char>(c) < 0x80;
}

std::string_view skipBlanks(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && !isPrintableAscii(text[i]))
        if (std::size_t n = blankAt(text, i))
            i += n;
        else
            break;
    return text.substr(i);
}

std::string_view trim(std::string_view text) {
    text = skipBlanks(text);
    for (bool more = !text.empty() && !isPrintableAscii(text.back()); more;) {
        more = false;
        for (std::size_t n = 1; n <= 3 && n <= text.size(); ++n)
            if (blankAt(text, text.size() - n) == n) {
                text.remove_suffix(n);
                more = true;
                break;
            }
    }
    return text;
}

// The longest numeric prefix after leading blanks; 0 when there is none.
template <typename T>
T readNumber(std::string_view text) {
    text = skipBlanks(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    T value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::general);
    return value;
}

double readDouble(const std::string* text) {
    return text ? readNumber<double>(*text) : 0.0;
}

// A 32-bit float widened, as the style's sizes are read.
double readFloat(const std::string* text) {
    return text ? double(readNumber<float>(*text)) : 0.0;
}

// Saturates at the 32-bit bounds.
int readInt(const std::string* text) {
    if (!text)
        return 0;
    std::string_view s = skipBlanks(*text);
    bool negative = false;
    if (!s.empty() && (s[0] == '+' || s[0] == '-')) {
        negative = s[0] == '-';
        s.remove_prefix(1);
    }
    std::int64_t value = 0;
    for (char c : s) {
        if (c < '0' || c > '9')
            break;
        value = value * 10 + (c - '0');
        if (value > std::int64_t(std::numeric_limits<int>::max()) + 1)
            break;
    }
    value = negative ? -value : value;
    if (value > std::numeric_limits<int>::max())
        return std::numeric_limits<int>::max();
    if (value < std::numeric_limits<int>::min())
        return std::numeric_limits<int>::min();
    return int(value);
}

// True for a leading Y, y, T, t, or a non-zero digit after sign and zeros.
bool readBool(const std::string* text) {
    if (!text)
        return false;
    std::string_view s = skipBlanks(*text);
    if (s.empty())
        return false;
    if (s[0] == 'Y' || s[0] == 'y' || s[0] == 'T' || s[0] == 't')
        return true;
    std::size_t i = (s[0] == '+' || s[0] == '-') ? 1 : 0;
    while (i < s.size() && s[i] == '0')
        ++i;
    return i < s.size() && s[i] >= '1' && s[i] <= '9';
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// KML's aabbggrr. Text with no hex digit reads as 0: transparent black.
GMSColor colorFromText(const std::string* text) {
    std::uint32_t value = 0; // wraps: the low 32 bits of the scanned number
    if (text) {
        std::string_view s = skipBlanks(*text);
        if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X') && hexDigit(s[2]) >= 0)
            s.remove_prefix(2);
        for (char c : s) {
            int d = hexDigit(c);
            if (d < 0)
                break;
            value = value * 16 + std::uint32_t(d);
        }
    }
    return {(value & 0xff) / 255.0, ((value >> 8) & 0xff) / 255.0, ((value >> 16) & 0xff) / 255.0,
            ((value >> 24) & 0xff) / 255.0};
}

const char* attribute(const char** attributes, const char* name) {
    for (; attributes && attributes[0]; attributes += 2)
        if (std::strcmp(attributes[0], name) == 0)
            return attributes[1];
    return nullptr;
}

template <typename T>
const T* lookup(const auto& attributes, std::string_view key) {
    auto it = attributes.find(key);
    return it == attributes.end() ? nullptr : std::get_if<T>(&it->second);
}

} // namespace

struct GMUKMLParser::Impl {
    XML_Parser parser = nullptr;
    Reader reader;
    ~Impl() {
        if (parser)
            XML_ParserFree(parser);
    }
};

GMUKMLParser::GMUKMLParser(Reader reader)
    : parser_(std::make_unique<Impl>()),
      geometryRegex_("^(Point|LineString|Polygon|MultiGeometry)$"),
      compassRegex_("^(north|east|south|west)$"),
      boundaryRegex_("^(outerBoundaryIs|innerBoundaryIs)$"),
      styleRegex_("^(Style|StyleMap|LineStyle)$"),
      styleAttributeRegex_("^(text|scale|heading|fill|outline|width|color|colorMode)$"),
      styleUrlRegex_("#.+"),
      geometryAttributeRegex_("^(coordinates|name|description|rotation|drawOrder|href|styleUrl)$"),
      pairAttributeRegex_("^(key|styleUrl)$"),
      random_(std::random_device{}()) {
    parser_->reader = std::move(reader);
    // Namespace processing stays off: names arrive as written.
    XML_Parser p = XML_ParserCreate(nullptr);
    parser_->parser = p;
    if (!p)
        return;
    // External entities are never loaded (no handler is set either), and
    // expansion of internal ones is held to a small multiple of the input.
    XML_SetParamEntityParsing(p, XML_PARAM_ENTITY_PARSING_NEVER);
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(p, 100.0f);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(p, 1024 * 1024);
}

GMUKMLParser::GMUKMLParser(GMUKMLParser&&) noexcept = default;
GMUKMLParser& GMUKMLParser::operator=(GMUKMLParser&&) noexcept = default;
GMUKMLParser::~GMUKMLParser() = default;

GMUKMLParser GMUKMLParser::withFile(std::string path) {
    auto file = std::shared_ptr<std::FILE>();
    return GMUKMLParser([path = std::move(path), file](char* buffer, std::size_t capacity,
                                                        std::string& error) mutable -> std::int64_t {
        if (!file) {
            std::FILE* f = std::fopen(path.c_str(), "rb");
            if (!f) {
                error = "could not open " + path + ": " + std::strerror(errno);
                return -1;
            }
            file.reset(f, std::fclose);
        }
        std::size_t n = std::fread(buffer, 1, capacity, file.get());
        if (n == 0 && std::ferror(file.get())) {
            error = "could not read " + path + ": " + std::strerror(errno);
            return -1;
        }
        return std::int64_t(n);
    });
}

GMUKMLParser GMUKMLParser::withData(std::string data) {
    return GMUKMLParser([data = std::move(data), offset = std::size_t(0)](
                            char* buffer, std::size_t capacity, std::string&) mutable -> std::int64_t {
        std::size_t n = std::min(capacity, data.size() - offset);
        std::memcpy(buffer, data.data() + offset, n);
        offset += n;
        return std::int64_t(n);
    });
}

GMUKMLParser GMUKMLParser::withStream(Reader reader) {
    return GMUKMLParser(std::move(reader));
}

void GMUKMLParser::parse() {
    if (spent_)
        return;
    spent_ = true;
    XML_Parser p = parser_->parser;
    if (!p) {
        fail(GMUKMLError::kMalformedXML, "out of memory");
        return;
    }
    XML_SetUserData(p, this);
    XML_SetElementHandler(
        p,
        [](void* self, const XML_Char* name, const XML_Char** attributes) {
            static_cast<GMUKMLParser*>(self)->startElement(name, attributes);
        },
        [](void* self, const XML_Char* name) { static_cast<GMUKMLParser*>(self)->endElement(name); });
    XML_SetCharacterDataHandler(p, [](void* self, const XML_Char* text, int length) {
        static_cast<GMUKMLParser*>(self)->characters(text, length);
    });
    // Text inside CDATA blocks contributes nothing.
    XML_SetCdataSectionHandler(
        p, [](void* self) { static_cast<GMUKMLParser*>(self)->inCdata_ = true; },
        [](void* self) { static_cast<GMUKMLParser*>(self)->inCdata_ = false; });

    bool anyRead = false;
    for (;;) {
        void* buffer = XML_GetBuffer(p, int(kBlockSize));
        if (!buffer) {
            fail(GMUKMLError::kMalformedXML, "out of memory");
            return;
        }
        std::string readError;
        std::int64_t n = parser_->reader(static_cast<char*>(buffer), kBlockSize, readError);
        if (n < 0) {
            fail(GMUKMLError::kUnreadableSource, readError);
            if (!anyRead)
                error_->line = error_->column = 0;
            return;
        }
        anyRead = anyRead || n > 0;
        bool last = n == 0;
        if (XML_ParseBuffer(p, int(n), last) == XML_STATUS_ERROR) {
            if (!error_)
                fail(GMUKMLError::kMalformedXML, XML_ErrorString(XML_GetErrorCode(p)));
            return;
        }
        if (last)
            return;
    }
}

void GMUKMLParser::fail(GMUKMLError::Kind kind, std::string message) {
    if (error_)
        return;
    XML_Parser p = parser_->parser;
    error_ = GMUKMLError{kind, std::move(message), p ? std::uint64_t(XML_GetCurrentLineNumber(p)) : 0,
                         p ? std::uint64_t(XML_GetCurrentColumnNumber(p)) + 1 : 0};
    if (p && kind != GMUKMLError::kMalformedXML && kind != GMUKMLError::kUnreadableSource)
        XML_StopParser(p, XML_FALSE);
}

unsigned GMUKMLParser::namePatterns(std::string_view name) {
    RecentName& recent = recentNames_[name.empty() ? 0
                                                   : (name.size() * 7 + unsigned(name.front()) * 3 +
                                                      unsigned(name.back())) % recentNames_.size()];
    if (!recent.name.empty() && recent.name == name)
        return recent.patterns;
    std::string key(name);
    auto it = nameCache_.find(key);
    if (it != nameCache_.end()) {
        recent = {std::move(key), it->second};
        return it->second;
    }
    unsigned bits = 0;
    const std::pair<const std::regex*, unsigned> patterns[] = {
        {&styleRegex_, kMatchStyle},
        {&geometryRegex_, kMatchGeometry},
        {&compassRegex_, kMatchCompass},
        {&boundaryRegex_, kMatchBoundary},
        {&styleAttributeRegex_, kMatchStyleAttribute},
        {&geometryAttributeRegex_, kMatchGeometryAttribute},
        {&pairAttributeRegex_, kMatchPairAttribute},
    };
    for (auto [regex, bit] : patterns)
        if (std::regex_search(key, *regex))
            bits |= bit;
    if (nameCache_.size() < kNameCacheLimit)
        nameCache_.emplace(key, bits);
    recent = {std::move(key), bits};
    return bits;
}

void GMUKMLParser::startElement(const char* rawName, const char** attributes) {
    if (error_)
        return;
    std::string_view name(rawName);
    dropCharacters();
    unsigned match = namePatterns(name);
    if (match & kMatchStyle) {
        beginStyle(name, attribute(attributes, "id"));
    } else if (name == "Placemark" || name == "GroundOverlay") {
        parserState_ |= kParsingPlacemark;
    } else if (name == "hotSpot") {
        readHotSpot(attributes);
    } else if (match & kMatchGeometry) {
        if (name == "MultiGeometry")
            parserState_ |= kParsingMultiGeometry;
        else
            geometryType_ = name;
    } else if (match & kMatchBoundary) {
        if (name == "outerBoundaryIs")
            parserState_ |= kParsingOuterBoundary;
        else
            parserState_ &= ~std::uint64_t(kParsingOuterBoundary);
    } else if (match & (kMatchStyleAttribute | kMatchGeometryAttribute | kMatchCompass)) {
        parserState_ |= kParsingLeafNode;
    }
}

void GMUKMLParser::characters(const char* text, int length) {
    if (error_ || inCdata_ || !isParsing(kParsingLeafNode))
        return;
    hasCharacters_ = true;
    if (characters_.size() + std::size_t(length) > maxLeafText_) {
        fail(GMUKMLError::kLeafTextTooLong,
             "the text of one element is longer than " + std::to_string(maxLeafText_) + " bytes");
        characters_.clear();
        return;
    }
    characters_.append(text, std::size_t(length));
}

void GMUKMLParser::endElement(const char* rawName) {
    if (error_)
        return;
    std::string_view name(rawName);
    unsigned match = namePatterns(name);
    if (match & kMatchStyle)
        endStyle();
    else if (match & kMatchStyleAttribute)
        storeStyleAttribute(name);
    else if (name == "Placemark")
        endPlacemark();
    else if (name == "GroundOverlay")
        endGroundOverlay();
    else if (match & kMatchGeometry)
        endGeometry(name);
    else if (match & kMatchGeometryAttribute)
        storeGeometryAttribute(name);
    else if (match & kMatchCompass)
        attributes_[std::string(name)] = readDouble(text());
    parserState_ &= ~std::uint64_t(kParsingLeafNode);
    dropCharacters();
}

void GMUKMLParser::beginStyle(std::string_view name, const char* styleID) {
    std::string id = std::string("#") + (styleID ? styleID : "(null)");
    if (name == "Style") {
        styleID_ = std::move(id);
        parserState_ |= kParsingStyle;
    } else if (name == "StyleMap") {
        styleID_ = std::move(id);
        parserState_ |= kParsingStyleMap;
    } else {
        parserState_ |= kParsingLineStyle;
    }
}

GMSColor GMUKMLParser::randomColorFrom(const GMSColor& color) {
    auto randomComponent = [this](double component) {
        int n = int(component * 255.0);
        if (n <= 0)
            return 0.0;
        return std::uniform_int_distribution<int>(0, n - 1)(random_) / 255.0;
    };
    return {randomComponent(color.red), randomComponent(color.green), randomComponent(color.blue), color.alpha};
}

void GMUKMLParser::endStyle() {
    if (isParsing(kParsingLineStyle)) {
        parserState_ &= ~std::uint64_t(kParsingLineStyle);
        return;
    }
    if (isParsing(kParsingStyleMap)) {
        parserState_ &= ~std::uint64_t(kParsingStyleMap);
        styleMaps_.push_back(GMUStyleMap{styleID_.value_or(std::string()), pairs_});
        pairs_.clear();
        return;
    }
    parserState_ &= ~std::uint64_t(kParsingStyle);
    // The colour modes are not reset below: a "random" stays in force for
    // the later styles of the document until another colorMode is read.
    if (fillColorMode_ == "random" && fillColor_)
        fillColor_ = randomColorFrom(*fillColor_);
    if (strokeColorMode_ == "random" && strokeColor_)
        strokeColor_ = randomColorFrom(*strokeColor_);
    GMUStyle style{styleID_, strokeColor_, fillColor_, width_,   scale_,   heading_,
                   anchor_,  iconUrl_,     styleTitle_, hasFill_, hasStroke_};
    styleID_.reset();
    strokeColor_.reset();
    fillColor_.reset();
    iconUrl_.reset();
    styleTitle_.reset();
    width_ = scale_ = heading_ = 0.0;
    anchor_ = {};
    hasFill_ = hasStroke_ = true;
    if (isParsing(kParsingPlacemark))
        inlineStyle_ = std::move(style);
    else
        styles_.push_back(std::move(style));
}

void GMUKMLParser::storeStyleAttribute(std::string_view name) {
    bool line = isParsing(kParsingLineStyle);
    if (name == "text")
        styleTitle_ = copyOfText();
    else if (name == "scale")
        scale_ = readFloat(text());
    else if (name == "heading")
        heading_ = readFloat(text());
    else if (name == "width")
        width_ = readFloat(text());
    else if (name == "fill")
        hasFill_ = readBool(text());
    else if (name == "outline")
        hasStroke_ = readBool(text());
    else if (name == "color")
        (line ? strokeColor_ : fillColor_) = colorFromText(text());
    else if (name == "colorMode")
        (line ? strokeColorMode_ : fillColorMode_) = copyOfText();
}

void GMUKMLParser::readHotSpot(const char** attributes) {
    auto number = [&](const char* key) {
        const char* value = attribute(attributes, key);
        return value ? readNumber<double>(value) : 0.0;
    };
    auto isFraction = [&](const char* key) {
        const char* value = attribute(attributes, key);
        return value && std::string_view(value) == "fraction";
    };
    if (isFraction("xunits") && isFraction("yunits"))
        anchor_ = {number("x"), number("y")};
    else
        anchor_ = {0.5, 1.0};
}

void GMUKMLParser::storeGeometryAttribute(std::string_view name) {
    if (name == "coordinates") {
        readCoordinates();
    } else if (name == "name") {
        title_ = copyOfText();
    } else if (name == "description") {
        snippet_ = copyOfText();
    } else if (name == "rotation") {
        // KML turns counter-clockwise; stored as a clockwise bearing.
        double x = readDouble(text());
        if (x < -180.0 || x > 180.0)
            x = 0.0;
        attributes_["rotation"] = x > 0 ? 360.0 - x : -x;
    } else if (name == "drawOrder") {
        attributes_["ZIndex"] = readInt(text());
    } else if (name == "href") {
        if (isParsing(kParsingStyle))
            iconUrl_ = copyOfText();
        else if (text())
            attributes_["href"] = characters_;
        else
            attributes_.erase("href");
    } else if (name == "styleUrl") {
        // Unanchored: "styles.kml#a" is kept whole.
        if (text() && std::regex_search(characters_, styleUrlRegex_))
            styleUrl_ = copyOfText();
    }
}

std::optional<CLLocationCoordinate2D> GMUKMLParser::locationFromText(std::string_view text) {
    std::string_view s = trim(text);
    std::size_t comma = s.find(',');
    if (comma == std::string_view::npos) {
        fail(GMUKMLError::kTupleWithoutComma, "coordinate tuple without a comma: \"" + std::string(s.substr(0, 64)) + "\"");
        return std::nullopt;
    }
    std::string_view latitude = s.substr(comma + 1);
    latitude = latitude.substr(0, latitude.find(','));
    return CLLocationCoordinate2D{readNumber<double>(latitude), readNumber<double>(s.substr(0, comma))};
}

std::optional<GMSPath> GMUKMLParser::pathFromText(const std::string* text) {
    if (!text)
        return GMSPath();
    std::vector<CLLocationCoordinate2D> coordinates;
    // Split at runs of white space.
    for (std::string_view s = skipBlanks(*text); !s.empty();) {
        std::size_t end = 0;
        for (; end < s.size(); ++end) {
            if (!isPrintableAscii(s[end]) && blankAt(s, end))
                break;
        }
        auto location = locationFromText(s.substr(0, end));
        if (!location)
            return std::nullopt;
        coordinates.push_back(*location);
        s = skipBlanks(s.substr(end));
    }
    // Blank text splits into one empty piece, which has no comma.
    if (coordinates.empty() && !locationFromText(""))
        return std::nullopt;
    return GMSPath(std::move(coordinates));
}

void GMUKMLParser::readCoordinates() {
    if (geometryType_ == "Point") {
        CLLocationCoordinate2D coordinate{};
        if (text()) {
            auto location = locationFromText(characters_);
            if (!location)
                return;
            coordinate = *location;
        }
        attributes_["coordinates"] = coordinate;
    } else if (geometryType_ == "LineString" || geometryType_ == "Polygon") {
        auto path = pathFromText(text());
        if (!path)
            return;
        if (geometryType_ == "LineString") {
            attributes_["coordinates"] = *path;
        } else if (isParsing(kParsingOuterBoundary)) {
            attributes_["outerBoundaries"] = *path;
        } else {
            auto& inner = attributes_["innerBoundaries"];
            if (!std::holds_alternative<std::vector<GMSPath>>(inner))
                inner = std::vector<GMSPath>();
            std::get<std::vector<GMSPath>>(inner).push_back(*path);
        }
    }
}

void GMUKMLParser::endGeometry(std::string_view name) {
    if (name == "MultiGeometry") {
        parserState_ &= ~std::uint64_t(kParsingMultiGeometry);
        geometry_ = GMUGeometryCollection{geometries_};
        return;
    }
    // A "coordinates" of the other kind (a line's path under a Point) counts
    // as none.
    if (name == "Point") {
        const auto* coordinate = lookup<CLLocationCoordinate2D>(attributes_, "coordinates");
        geometry_ = GMUPoint{coordinate ? *coordinate : CLLocationCoordinate2D{}};
    } else if (name == "LineString") {
        const auto* path = lookup<GMSPath>(attributes_, "coordinates");
        geometry_ = GMULineString{path ? std::optional<GMSPath>(*path) : std::nullopt};
    } else {
        const auto* outer = lookup<GMSPath>(attributes_, "outerBoundaries");
        if (!outer) {
            fail(GMUKMLError::kPolygonWithoutOuterBoundary, "polygon without an outer boundary");
            return;
        }
        std::vector<GMSPath> paths{*outer};
        if (const auto* inner = lookup<std::vector<GMSPath>>(attributes_, "innerBoundaries"))
            paths.insert(paths.end(), inner->begin(), inner->end());
        geometry_ = GMUPolygon{std::move(paths)};
    }
    if (isParsing(kParsingMultiGeometry)) {
        geometries_.push_back(std::move(*geometry_));
        geometry_.reset();
        attributes_.clear();
    }
}

void GMUKMLParser::endGroundOverlay() {
    auto number = [this](std::string_view key) {
        const double* value = lookup<double>(attributes_, key);
        return value ? *value : 0.0;
    };
    const int* zIndex = lookup<int>(attributes_, "ZIndex");
    const std::string* href = lookup<std::string>(attributes_, "href");
    geometry_ = GMUGroundOverlay{{number("north"), number("east")},
                                 {number("south"), number("west")},
                                 zIndex ? *zIndex : 0,
                                 number("rotation"),
                                 href ? std::optional<std::string>(*href) : std::nullopt};
    endPlacemark();
}

void GMUKMLParser::endPlacemark() {
    parserState_ &= ~std::uint64_t(kParsingPlacemark);
    GMUBoxed<GMUStyle> style = inlineStyle_ ? GMUBoxed<GMUStyle>(std::move(*inlineStyle_)) : std::nullopt;
    placemarks_.push_back(GMUPlacemark{std::move(geometry_), std::move(style), std::move(title_),
                                       std::move(snippet_), std::move(styleUrl_)});
    geometryType_.clear();
    geometry_.reset();
    title_.reset();
    snippet_.reset();
    inlineStyle_.reset();
    styleUrl_.reset();
    attributes_.clear();
    geometries_.clear();
}
