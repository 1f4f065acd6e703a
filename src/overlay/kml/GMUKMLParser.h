#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "GMUKMLTypes.h"

// Why a parse stopped early. Lines and columns count from 1; both are 0 when
// the file could not be read at all.
struct GMUKMLError {
    enum Kind {
        kUnreadableSource,      // missing or unreadable file or stream
        kMalformedXML,          // expat's complaint, including entity limits
        kTupleWithoutComma,     // a coordinate tuple or point text with no ","
        kPolygonWithoutOuterBoundary,
        kLeafTextTooLong,       // one element's text beyond the parser's bound
    };
    Kind kind = kMalformedXML;
    std::string message;
    std::uint64_t line = 0;
    std::uint64_t column = 0;
    friend bool operator==(const GMUKMLError&, const GMUKMLError&) = default;
};

// Reads one KML document into three flat lists (placemarks, styles, style
// maps) in one pass over expat's events, keeping no element tree: one bit-set
// of state and the slots of the values being read. The file is fed in blocks,
// so memory grows with the results, not with the file.
//
// Leniency is the design: unknown elements are ignored (their children are
// seen as usual), numbers take their longest numeric prefix, and element
// names are matched as written (no namespace processing, so "kml:Placemark"
// matches nothing). A handful of inputs cannot be read at all (a tuple with
// no comma, a polygon with no outer boundary); these, malformed XML and an
// unreadable source stop the parse and are reported by error(), while every
// result completed before that point stays.
//
// A `color` whose text starts with no hex digit (after blanks and an optional
// "0x") reads as the value 0: transparent black.
//
// Hostile files: external entities are never loaded, entity expansion stays
// within expat's amplification limits, nesting depth costs no stack, and the
// text of one element is bounded (kMaxLeafText), since it is held whole.
class GMUKMLParser {
public:
    enum ParserState : std::uint64_t {
        kParsingPlacemark = 1,
        kParsingOuterBoundary = 2,
        kParsingMultiGeometry = 4,
        kParsingStyle = 8,
        kParsingStyleMap = 16,
        kParsingLineStyle = 32,
        kParsingLeafNode = 64,
    };

    // Reads up to `capacity` bytes into `buffer`: the count, 0 at the end,
    // negative on a read error (with `error` set to say why).
    using Reader = std::function<std::int64_t(char* buffer, std::size_t capacity, std::string& error)>;

    // initWithURL: a local file path, opened when parse() runs.
    static GMUKMLParser withFile(std::string path);
    // initWithData:
    static GMUKMLParser withData(std::string data);
    // initWithStream:
    static GMUKMLParser withStream(Reader reader);

    GMUKMLParser(GMUKMLParser&&) noexcept;
    GMUKMLParser& operator=(GMUKMLParser&&) noexcept;
    ~GMUKMLParser();

    // Runs the source to its end (or to the first error) on the calling
    // thread. A second call on the spent source adds nothing.
    void parse();

    const std::vector<GMUPlacemark>& placemarks() const { return placemarks_; }
    const std::vector<GMUStyle>& styles() const { return styles_; }
    const std::vector<GMUStyleMap>& styleMaps() const { return styleMaps_; }
    // Why the parse stopped early; absent when it read the whole source.
    const std::optional<GMUKMLError>& error() const { return error_; }

    bool isParsing(std::uint64_t mask) const { return (parserState_ & mask) != 0; }

    // Size of the blocks fed to expat.
    static constexpr std::size_t kBlockSize = 64 * 1024;
    // The longest text of one element; beyond it the parse stops. Room for
    // some eight million coordinate tuples.
    static constexpr std::size_t kMaxLeafText = 256 * 1024 * 1024;
    void setMaxLeafText(std::size_t bytes) { maxLeafText_ = bytes; }

private:
    struct Impl;
    explicit GMUKMLParser(Reader reader);

    // Event handlers.
    void startElement(const char* name, const char** attributes);
    void endElement(const char* name);
    void characters(const char* text, int length);

    unsigned namePatterns(std::string_view name);
    void beginStyle(std::string_view name, const char* styleID);
    void endStyle();
    void storeStyleAttribute(std::string_view name);
    void storeGeometryAttribute(std::string_view name);
    void readCoordinates();
    void endGeometry(std::string_view name);
    void endGroundOverlay();
    void endPlacemark();
    void readHotSpot(const char** attributes);
    std::optional<CLLocationCoordinate2D> locationFromText(std::string_view text);
    std::optional<GMSPath> pathFromText(const std::string* text);
    GMSColor randomColorFrom(const GMSColor& color);
    void fail(GMUKMLError::Kind kind, std::string message);

    std::unique_ptr<Impl> parser_; // the event source and its reader

    // Compiled once, applied over the whole element name (or text).
    std::regex geometryRegex_;
    std::regex compassRegex_;
    std::regex boundaryRegex_;
    std::regex styleRegex_;
    std::regex styleAttributeRegex_;
    std::regex styleUrlRegex_;
    std::regex geometryAttributeRegex_;
    std::regex pairAttributeRegex_;
    // The patterns' verdicts per element name, so that each distinct name is
    // matched once; bounded so that a file of endless new names can't grow it.
    std::unordered_map<std::string, unsigned> nameCache_;
    // In front of it, the last names seen by a cheap slot of length and end
    // letters, so that the common names skip hashing.
    struct RecentName {
        std::string name;
        unsigned patterns = 0;
    };
    std::array<RecentName, 64> recentNames_;

    std::vector<GMUPlacemark> placemarks_;
    std::vector<GMUStyle> styles_;
    std::vector<GMUStyleMap> styleMaps_;
    std::vector<GMUPair> pairs_;
    // The text of the leaf being read; absent until a character arrives. The
    // buffer is kept between leaves so that reading costs no allocation.
    std::string characters_;
    std::size_t maxLeafText_ = kMaxLeafText;
    bool hasCharacters_ = false;
    const std::string* text() const { return hasCharacters_ ? &characters_ : nullptr; }
    std::optional<std::string> copyOfText() const { return text() ? std::optional(characters_) : std::nullopt; }
    void dropCharacters() {
        hasCharacters_ = false;
        characters_.clear();
    }
    std::optional<GMUGeometry> geometry_;
    std::vector<GMUGeometry> geometries_;
    std::optional<std::string> title_;
    std::optional<std::string> snippet_;
    std::optional<GMUStyle> inlineStyle_;
    std::optional<std::string> styleUrl_;
    std::optional<std::string> styleID_;
    std::optional<GMSColor> strokeColor_;
    std::optional<GMSColor> fillColor_;
    double width_ = 0.0;
    double scale_ = 0.0;
    double heading_ = 0.0;
    GMUAnchor anchor_;
    std::optional<std::string> strokeColorMode_;
    std::optional<std::string> fillColorMode_;
    std::optional<std::string> iconUrl_;
    std::optional<std::string> styleTitle_;
    bool hasFill_ = true;
    bool hasStroke_ = true;

    // The loose values of the open geometry, under the keys they had as a
    // dictionary: "coordinates" (a location or a path), "outerBoundaries",
    // "innerBoundaries", "rotation", "ZIndex", "href" and the four compass
    // directions.
    using AttributeValue = std::variant<CLLocationCoordinate2D, GMSPath, std::vector<GMSPath>, double, int, std::string>;
    std::map<std::string, AttributeValue, std::less<>> attributes_;
    std::string geometryType_;
    std::string key_;
    std::uint64_t parserState_ = 0;

    std::optional<GMUKMLError> error_;
    bool inCdata_ = false;
    bool spent_ = false;
    std::minstd_rand random_;
};
