-- Version 1 of the test schema.
CREATE TABLE one (v);
