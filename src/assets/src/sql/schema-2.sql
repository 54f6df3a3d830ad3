-- Schema 2: a version link that leads back to its asset is refused by the file itself.
-- UNION, not UNION ALL: the walk ends in a file that holds a cycle already.

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
