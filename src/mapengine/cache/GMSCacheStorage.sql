-- The map engine's disk cache store, version 1.
--
-- One file holds every entity; the "Tiles" store uses the tile tables and
-- the "Objects" store the object tables, but both carry the full schema so
-- that one migration path serves them. Tile and object bytes lie in tables
-- of their own, so that reading the metadata index at start never pages in
-- blob bytes.

-- Metadata of one tile of one tile type. `type` is the tile type's
-- tileFlags; `touched` orders the LRU (larger is younger); `validationTime`
-- is in milliseconds; `size` counts the stored bytes; `versionID` is the
-- server's version of the tile: when it is not empty the bytes are in
-- GMSCachedTileProtoBlob, otherwise in GMSCachedTileBlob.
CREATE TABLE GMSCachedTile (
    id                 INTEGER PRIMARY KEY,
    type               INTEGER NOT NULL,
    zoom               INTEGER NOT NULL,
    xCoord             INTEGER NOT NULL,
    yCoord             INTEGER NOT NULL,
    touched            INTEGER NOT NULL DEFAULT 0,
    validationTime     INTEGER NOT NULL DEFAULT 0,
    perTileEpoch       INTEGER NOT NULL DEFAULT 0,
    serverPerTileEpoch INTEGER NOT NULL DEFAULT 0,
    size               INTEGER NOT NULL DEFAULT 0,
    versionID          TEXT
);
CREATE UNIQUE INDEX GMSCachedTileCoords ON GMSCachedTile (type, zoom, xCoord, yCoord);

-- Tile bytes in the older form: the tile data as it came from the wire.
CREATE TABLE GMSCachedTileBlob (
    tile INTEGER PRIMARY KEY REFERENCES GMSCachedTile (id) ON DELETE CASCADE,
    data BLOB NOT NULL
);

-- Tile bytes as a serialised GMSCCachedTile (metadata plus wire bytes).
CREATE TABLE GMSCachedTileProtoBlob (
    tile INTEGER PRIMARY KEY REFERENCES GMSCachedTile (id) ON DELETE CASCADE,
    data BLOB NOT NULL
);

-- Small settings of a cache: "TileDataVersion", "PaintMajorEpoch",
-- "ServerSchemaVersion", "KrotraLocale", "KrotraLegalCountry". The value
-- keeps the SQLite type it was written with (integer, real, text, blob).
CREATE TABLE GMSCacheProperty (
    key   TEXT PRIMARY KEY NOT NULL,
    value
);

-- A named object (style table, server resource). `type` keeps apart the
-- object caches that share a store; `updatedDate` is in seconds since the
-- Unix epoch; `touched` orders the LRU like tiles.
CREATE TABLE GMSCachedObject (
    id          INTEGER PRIMARY KEY,
    name        TEXT NOT NULL,
    type        INTEGER NOT NULL DEFAULT 0,
    updatedDate REAL NOT NULL DEFAULT 0,
    version     TEXT,
    touched     INTEGER NOT NULL DEFAULT 0,
    UNIQUE (type, name)
);

CREATE TABLE GMSCachedObjectBlob (
    parent INTEGER PRIMARY KEY REFERENCES GMSCachedObject (id) ON DELETE CASCADE,
    data   BLOB NOT NULL
);
