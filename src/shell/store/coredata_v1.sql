-- The "Zenloft" store: what the map screens draw.
-- Every table keeps "pk" as its store order (insertion order). Columns carry
-- no type affinity, so values come back with the type they were written
-- with, and NULL stands for a value that was never set.

-- A bearing line from the work position; distance in kilometres.
CREATE TABLE IF NOT EXISTS "Azimuth" (
  pk INTEGER PRIMARY KEY,
  "id", "azimuth", "distance", "desc", "colorRed", "colorGreen", "colorBlue", "isActive"
);

-- A fixed point of the field check.
CREATE TABLE IF NOT EXISTS "Marker" (
  pk INTEGER PRIMARY KEY,
  "id", "name", "desc", "latitude", "longitude", "colorRed", "colorGreen", "colorBlue", "isActive"
);

-- A planned radio sector: apex, beam centre and opening in degrees, radius in kilometres.
CREATE TABLE IF NOT EXISTS "Sector" (
  pk INTEGER PRIMARY KEY,
  "id", "desc", "latitude", "longitude", "azimuth", "width", "distance",
  "colorRed", "colorGreen", "colorBlue", "colorAlpha", "isActive"
);

-- An overlay file of the folder "KML" and whether it is drawn.
CREATE TABLE IF NOT EXISTS "KmlFile" (
  pk INTEGER PRIMARY KEY,
  "name", "isActive"
);
