#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// The azimuth file: a JSON object with the position the azimuths belong to
// and the array "azimuths". Files move between installations, so the text
// written here keeps the exchanged layout byte for byte (including the
// comma behind the last entry), and the reader takes what other
// installations write.
namespace AzimuthFile {

// One azimuth as the file carries it; `distance` is kilometres.
struct Entry {
    double azimuth = 0.0;
    double distance = 0.0;
    QString desc;
    qint32 colorRed = 0;
    qint32 colorGreen = 0;
    qint32 colorBlue = 0;
    friend bool operator==(const Entry&, const Entry&) = default;
};

struct Content {
    double latitude = 0.0;
    double longitude = 0.0;
    QList<Entry> azimuths;
};

// The text of an export. Texts are escaped (quotation marks, backslashes,
// control characters) so that every file written reads back.
QByteArray exportText(double latitude, double longitude, const QList<Entry>& azimuths);

// Reads a file's bytes. Values are read leniently: a member that is missing
// or of another kind reads 0, 0.0 or the empty text, and a number written as
// a text is that number. Returns nothing, with a short reason, for a text
// that isn't JSON, a file without the array "azimuths", or a colour that
// doesn't fit 32 bits.
std::optional<Content> parse(const QByteArray& bytes, QString* error);

}  // namespace AzimuthFile
