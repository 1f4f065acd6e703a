#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// One entry of the paint parameters' style table mapping.
struct GMSStyleTableMapping {
    QString url;
    int styleTableFormat = 0;
    int mapStyle = 0;
    friend bool operator==(const GMSStyleTableMapping&, const GMSStyleTableMapping&) = default;
};

// What a paint epoch is made of: its number and its style tables. Kept in
// the epoch resources cache so that a tile of a known epoch finds its
// tables without the client parameters that named them.
struct GMSStyleTableEpochResources {
    qint32 epoch = 0;
    QList<GMSStyleTableMapping> styleTableMappingArray;

    // The mapping of a map style, or none.
    std::optional<GMSStyleTableMapping> mappingForMapStyle(int mapStyle) const;
    // The name of an epoch's entry in the epoch resources cache.
    static QString cacheNameForEpoch(qint32 epoch);
    // Compact JSON; parse refuses anything that isn't such a record.
    QByteArray serialized() const;
    static std::optional<GMSStyleTableEpochResources> parse(const QByteArray& data);

    friend bool operator==(const GMSStyleTableEpochResources&, const GMSStyleTableEpochResources&) = default;
};

// What the style table service reads of the client parameters. Any thread
// may call it: the owner of the parameters keeps a copy current here.
class GMSStyleTableClientParameters {
public:
    virtual ~GMSStyleTableClientParameters() = default;
    // The current paint epoch (0: none) and its style table mapping.
    virtual GMSStyleTableEpochResources currentEpochResources() const = 0;
    // Asks for client parameters again unless those in hand name the epoch.
    virtual void refetchClientParametersExpectingPaintEpoch(qint32 epoch) = 0;
};
