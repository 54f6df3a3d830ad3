-- Schema 1: assets with their bodies, metadata, links, lists and thumbnails.
-- Inside the file assets go by their row number k; ids appear where an asset is looked up, and
-- where one is named that need not exist. Foreign keys say only what belongs to an asset.

CREATE TABLE database (
    one        INTEGER PRIMARY KEY CHECK (one = 1),
    id         BLOB NOT NULL,             -- made once, moves with the file
    generation INTEGER NOT NULL           -- counts the transactions that changed something
) STRICT;

CREATE TABLE migration (
    version INTEGER PRIMARY KEY,
    hash    TEXT NOT NULL,                -- SHA-256 of the script
    applied INTEGER NOT NULL,             -- milliseconds since 1970, UTC
    program TEXT NOT NULL                 -- the version of the program that applied it
) STRICT;

-- Texts that many rows repeat: classes, categories, metadata keys, roles.
CREATE TABLE term (
    k    INTEGER PRIMARY KEY,
    text TEXT NOT NULL UNIQUE
) STRICT;

CREATE TABLE asset (
    k             INTEGER PRIMARY KEY,
    id            BLOB NOT NULL UNIQUE,
    class_k       INTEGER NOT NULL,
    class_version INTEGER NOT NULL,
    name          TEXT NOT NULL,
    name_key      TEXT NOT NULL,          -- the name in lower case
    category_k    INTEGER NOT NULL,
    flags         INTEGER NOT NULL,       -- bit 0: hidden
    revision      INTEGER NOT NULL,       -- generation of the last write of name, class or body
    changed       INTEGER NOT NULL,       -- generation of the last change of any kind
    created       INTEGER NOT NULL,       -- milliseconds since 1970, UTC
    modified      INTEGER NOT NULL
) STRICT;
CREATE INDEX asset_class ON asset (class_k);
CREATE INDEX asset_name ON asset (name_key) WHERE name_key <> '';
CREATE INDEX asset_changed ON asset (changed);

-- Removed assets, so that other users of the file learn of it.
CREATE TABLE removed (
    id         BLOB PRIMARY KEY,
    generation INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX removed_generation ON removed (generation);

CREATE TABLE body (
    asset_k  INTEGER PRIMARY KEY REFERENCES asset (k) ON DELETE CASCADE,
    encoding INTEGER NOT NULL,
    hash     INTEGER NOT NULL,            -- 64-bit FNV-1a of data
    data     BLOB NOT NULL
) STRICT;

CREATE TABLE meta (
    asset_k       INTEGER NOT NULL REFERENCES asset (k) ON DELETE CASCADE,
    key_k         INTEGER NOT NULL,
    type          INTEGER NOT NULL,
    accessibility INTEGER NOT NULL,
    kind          INTEGER NOT NULL,       -- how to read value
    value         ANY,
    PRIMARY KEY (asset_k, key_k)
) STRICT, WITHOUT ROWID;

-- One row an item, with all that is needed to show it: a list is read without looking further.
CREATE TABLE collection_item (
    collection_k INTEGER NOT NULL REFERENCES asset (k) ON DELETE CASCADE,
    position     INTEGER NOT NULL,
    item_k       INTEGER,                 -- NULL: there is no such asset
    item_id      BLOB NOT NULL,
    class_k      INTEGER NOT NULL,        -- these three as in the asset; 0, '' and 0 without one
    name         TEXT NOT NULL,
    flags        INTEGER NOT NULL,
    PRIMARY KEY (collection_k, position)
) STRICT, WITHOUT ROWID;
CREATE UNIQUE INDEX collection_item_live ON collection_item (item_k, collection_k)
    WHERE item_k IS NOT NULL;
CREATE UNIQUE INDEX collection_item_dangling ON collection_item (item_id, collection_k)
    WHERE item_k IS NULL;

CREATE TABLE dependency (
    asset_k  INTEGER NOT NULL REFERENCES asset (k) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    id       BLOB NOT NULL,
    role_k   INTEGER NOT NULL,
    PRIMARY KEY (asset_k, position)
) STRICT, WITHOUT ROWID;
CREATE INDEX dependency_id ON dependency (id);

CREATE TABLE thumbnail (
    asset_k INTEGER PRIMARY KEY REFERENCES asset (k) ON DELETE CASCADE,
    data    BLOB NOT NULL
) STRICT;

CREATE TABLE version_edge (
    asset_k INTEGER PRIMARY KEY REFERENCES asset (k) ON DELETE CASCADE,
    next_id BLOB NOT NULL
) STRICT;
CREATE INDEX version_edge_next ON version_edge (next_id);
