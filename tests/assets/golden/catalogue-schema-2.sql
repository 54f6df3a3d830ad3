-- A file of schema 2 with metadata of every type, as the program of that schema left it.
PRAGMA page_size=8192;
PRAGMA journal_mode=WAL;
PRAGMA application_id=1415934827;
PRAGMA user_version=2;
BEGIN TRANSACTION;
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
INSERT INTO "asset" VALUES(1,X'61',1,0,'Name','name',2,1,1,3,1795295039134,1795295039134);
INSERT INTO "asset" VALUES(2,X'6F6C64',1,0,'','',22,0,1,1,1795295039134,1795295039134);
INSERT INTO "asset" VALUES(3,X'6F74686572',1,0,'Other','other',22,0,1,1,1795295039134,1795295039134);
INSERT INTO "asset" VALUES(4,X'6C697374',25,0,'','',22,0,1,2,1795295039134,1795295039134);
CREATE TABLE body (
    asset_k  INTEGER PRIMARY KEY REFERENCES asset (k) ON DELETE CASCADE,
    encoding INTEGER NOT NULL,
    hash     INTEGER NOT NULL,            -- 64-bit FNV-1a of data
    data     BLOB NOT NULL
) STRICT;
INSERT INTO "body" VALUES(1,1,-3653009066486582635,X'626F6479');
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
INSERT INTO "collection_item" VALUES(4,0,1,X'61',1,'Name',1);
INSERT INTO "collection_item" VALUES(4,1,NULL,X'6E6F6E65',0,'',0);
INSERT INTO "collection_item" VALUES(4,2,3,X'6F74686572',1,'Other',0);
CREATE TABLE database (
    one        INTEGER PRIMARY KEY CHECK (one = 1),
    id         BLOB NOT NULL,             -- made once, moves with the file
    generation INTEGER NOT NULL           -- counts the transactions that changed something
) STRICT;
INSERT INTO "database" VALUES(1,X'FF2F2CE4409A4DFABB8580928F11602E',5);
CREATE TABLE dependency (
    asset_k  INTEGER NOT NULL REFERENCES asset (k) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    id       BLOB NOT NULL,
    role_k   INTEGER NOT NULL,
    PRIMARY KEY (asset_k, position)
) STRICT, WITHOUT ROWID;
INSERT INTO "dependency" VALUES(2,0,X'61',23);
CREATE TABLE meta (
    asset_k       INTEGER NOT NULL REFERENCES asset (k) ON DELETE CASCADE,
    key_k         INTEGER NOT NULL,
    type          INTEGER NOT NULL,
    accessibility INTEGER NOT NULL,
    kind          INTEGER NOT NULL,       -- how to read value
    value         ANY,
    PRIMARY KEY (asset_k, key_k)
) STRICT, WITHOUT ROWID;
INSERT INTO "meta" VALUES(1,3,0,0,1,1);
INSERT INTO "meta" VALUES(1,4,1,1,1,0);
INSERT INTO "meta" VALUES(1,5,2,0,2,-5);
INSERT INTO "meta" VALUES(1,6,3,1,3,5);
INSERT INTO "meta" VALUES(1,7,4,0,4,-9223372036854775808);
INSERT INTO "meta" VALUES(1,8,5,1,15,X'A26540747970656A71756C6F6E676C6F6E676576616C75651BFFFFFFFFFFFFFFFF');
INSERT INTO "meta" VALUES(1,9,6,0,6,0.1);
INSERT INTO "meta" VALUES(1,10,7,1,6,-0.0);
INSERT INTO "meta" VALUES(1,11,8,0,6,9e999);
INSERT INTO "meta" VALUES(1,12,9,1,6,NULL);
INSERT INTO "meta" VALUES(1,13,10,0,7,'Text 🌈');
INSERT INTO "meta" VALUES(1,14,11,1,7,'');
INSERT INTO "meta" VALUES(1,15,12,0,8,X'00FF');
INSERT INTO "meta" VALUES(1,16,13,1,8,X'');
INSERT INTO "meta" VALUES(1,17,14,0,15,X'A2654074797065645155726C6576616C75657166696C653A2F2F2F61253230623F632364');
INSERT INTO "meta" VALUES(1,18,15,1,15,X'A26540747970656B51537472696E674C6973746576616C7565A1656974656D738466537472696E676161606163');
INSERT INTO "meta" VALUES(1,19,16,0,15,X'A26540747970656C5156617269616E744C697374656974656D73846756617269616E74A265407479706563696E746576616C756501A26540747970656751537472696E676576616C75656178A26540747970656C5156617269616E744C697374656974656D73846756617269616E74A265407479706566646F75626C656576616C7565F94100A165407479706567496E76616C6964A26540747970656A514279746541727261796576616C75654179');
INSERT INTO "meta" VALUES(1,20,17,1,15,X'A26540747970656C5156617269616E744C697374656974656D73816756617269616E74');
INSERT INTO "meta" VALUES(1,21,18,0,0,NULL);
INSERT INTO "meta" VALUES(3,6,3,0,7,'of other');
INSERT INTO "meta" VALUES(3,24,-1,-2,2,70000);
CREATE TABLE migration (
    version INTEGER PRIMARY KEY,
    hash    TEXT NOT NULL,                -- SHA-256 of the script
    applied INTEGER NOT NULL,             -- milliseconds since 1970, UTC
    program TEXT NOT NULL                 -- the version of the program that applied it
) STRICT;
INSERT INTO "migration" VALUES(1,'62de297ef4097bf69441d43632c3574680bd0b85bda935f1669721bd5d8b9c3a',1795295039133,'0.1.0');
INSERT INTO "migration" VALUES(2,'30a002e2b283eacb01c73c622916aae42a34a0b206dee66f9fa8a60f774b4252',1795295039133,'0.1.0');
CREATE TABLE removed (
    id         BLOB PRIMARY KEY,
    generation INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
INSERT INTO "removed" VALUES(X'676F6E65',5);
CREATE TABLE term (
    k    INTEGER PRIMARY KEY,
    text TEXT NOT NULL UNIQUE
) STRICT;
INSERT INTO "term" VALUES(1,'Filter');
INSERT INTO "term" VALUES(2,'filter');
INSERT INTO "term" VALUES(3,'key 0');
INSERT INTO "term" VALUES(4,'key 1');
INSERT INTO "term" VALUES(5,'key 2');
INSERT INTO "term" VALUES(6,'key 3');
INSERT INTO "term" VALUES(7,'key 4');
INSERT INTO "term" VALUES(8,'key 5');
INSERT INTO "term" VALUES(9,'key 6');
INSERT INTO "term" VALUES(10,'key 7');
INSERT INTO "term" VALUES(11,'key 8');
INSERT INTO "term" VALUES(12,'key 9');
INSERT INTO "term" VALUES(13,'key 10');
INSERT INTO "term" VALUES(14,'key 11');
INSERT INTO "term" VALUES(15,'key 12');
INSERT INTO "term" VALUES(16,'key 13');
INSERT INTO "term" VALUES(17,'key 14');
INSERT INTO "term" VALUES(18,'key 15');
INSERT INTO "term" VALUES(19,'key 16');
INSERT INTO "term" VALUES(20,'key 17');
INSERT INTO "term" VALUES(21,'key 18');
INSERT INTO "term" VALUES(22,'');
INSERT INTO "term" VALUES(23,'uses');
INSERT INTO "term" VALUES(24,'alone');
INSERT INTO "term" VALUES(25,'List');
CREATE TABLE thumbnail (
    asset_k INTEGER PRIMARY KEY REFERENCES asset (k) ON DELETE CASCADE,
    data    BLOB NOT NULL
) STRICT;
INSERT INTO "thumbnail" VALUES(1,X'70696374757265');
CREATE TABLE version_edge (
    asset_k INTEGER PRIMARY KEY REFERENCES asset (k) ON DELETE CASCADE,
    next_id BLOB NOT NULL
) STRICT;
INSERT INTO "version_edge" VALUES(2,X'61');
CREATE INDEX asset_class ON asset (class_k);
CREATE INDEX asset_name ON asset (name_key) WHERE name_key <> '';
CREATE INDEX asset_changed ON asset (changed);
CREATE INDEX removed_generation ON removed (generation);
CREATE UNIQUE INDEX collection_item_live ON collection_item (item_k, collection_k)
    WHERE item_k IS NOT NULL;
CREATE UNIQUE INDEX collection_item_dangling ON collection_item (item_id, collection_k)
    WHERE item_k IS NULL;
CREATE INDEX dependency_id ON dependency (id);
CREATE INDEX version_edge_next ON version_edge (next_id);
CREATE TRIGGER version_edge_insert BEFORE INSERT ON version_edge
BEGIN
    SELECT RAISE(ABORT, 'version cycle')
    WHERE (SELECT id FROM asset WHERE k = NEW.asset_k) IN (
        WITH RECURSIVE chain (id) AS (
            SELECT NEW.next_id
            UNION
            SELECT edge.next_id
            FROM chain
            JOIN asset ON asset.id = chain.id
            JOIN version_edge AS edge ON edge.asset_k = asset.k
            WHERE edge.asset_k <> NEW.asset_k
        )
        SELECT id FROM chain
    );
END;
CREATE TRIGGER version_edge_update BEFORE UPDATE ON version_edge
BEGIN
    SELECT RAISE(ABORT, 'version cycle')
    WHERE (SELECT id FROM asset WHERE k = NEW.asset_k) IN (
        WITH RECURSIVE chain (id) AS (
            SELECT NEW.next_id
            UNION
            SELECT edge.next_id
            FROM chain
            JOIN asset ON asset.id = chain.id
            JOIN version_edge AS edge ON edge.asset_k = asset.k
            WHERE edge.asset_k <> NEW.asset_k
        )
        SELECT id FROM chain
    );
END;
COMMIT;
