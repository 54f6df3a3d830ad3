-- Schema 3: the metadata of an asset are one row. gathered_metadata() is a function of the program.
-- Rows of assets that do not exist are left behind; the copy of the file still has them.

CREATE TABLE metadata (
    asset_k  INTEGER PRIMARY KEY REFERENCES asset (k) ON DELETE CASCADE,
    encoding INTEGER NOT NULL,
    items    INTEGER NOT NULL,            -- how many are in data
    data     BLOB NOT NULL
) STRICT;

INSERT INTO metadata (asset_k, encoding, items, data)
SELECT asset_k, 1, COUNT(*), gathered_metadata(key_k, type, accessibility, kind, value)
FROM meta
WHERE asset_k IN (SELECT k FROM asset)
GROUP BY asset_k
ORDER BY asset_k;

DROP TABLE meta;
