-- The object store: the point list and the logged tracks.
-- "pk" is the store order (insertion order); dates are milliseconds since
-- 1970 UTC. Columns carry no type affinity.

-- One point of the point list; "id" is kept unique by the writers alone.
CREATE TABLE IF NOT EXISTS "realm_ptp" (
  pk INTEGER PRIMARY KEY,
  "name", "ptp_description", "latitude", "longitude", "markerRed", "markerGreen", "markerBlue", "id"
);

-- The head of a logged track; "distance" in kilometres, 0 until it ends.
CREATE TABLE IF NOT EXISTS "realmValidation_tracks" (
  pk INTEGER PRIMARY KEY,
  "id", "dateStart", "dateStop", "desc", "distance", "colorRed", "colorGreen", "colorBlue"
);

-- One logged position; "id" is the owning track's, repeated for each point.
CREATE TABLE IF NOT EXISTS "realmValidation_tracksData" (
  pk INTEGER PRIMARY KEY,
  "id", "date", "latitude", "longitude"
);
CREATE INDEX IF NOT EXISTS "realmValidation_tracksData_id" ON "realmValidation_tracksData" ("id");
