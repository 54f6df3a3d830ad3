#include "RawRows.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

namespace Tesk::Benchmarks {

[[noreturn]] static void fail(sqlite3 *handle, const QByteArray &what)
{
    std::fprintf(stderr, "%s: %s\n", what.constData(), sqlite3_errmsg(handle));
    std::exit(1);
}

class Statement
{
public:
    Statement(sqlite3 *handle, const QByteArray &sql)
        : m_handle(handle)
    {
        if (sqlite3_prepare_v3(handle, sql.constData(), -1, SQLITE_PREPARE_PERSISTENT, &m_statement,
                               nullptr)
            != SQLITE_OK)
            fail(handle, sql);
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    bool step()
    {
        const int result = sqlite3_step(m_statement);
        if (result != SQLITE_ROW && result != SQLITE_DONE)
            fail(m_handle, sqlite3_sql(m_statement));
        return result == SQLITE_ROW;
    }
    sqlite3_stmt *get() const { return m_statement; }

private:
    sqlite3 *m_handle;
    sqlite3_stmt *m_statement = nullptr;
};

RawFile::RawFile(const QString &path)
{
    if (sqlite3_open(path.toUtf8().constData(), &m_handle) != SQLITE_OK)
        fail(m_handle, path.toUtf8());
    run("PRAGMA trusted_schema = OFF");
}

RawFile::~RawFile()
{
    sqlite3_close(m_handle);
}

void RawFile::run(const QByteArray &sql)
{
    if (sqlite3_exec(m_handle, sql.constData(), nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(m_handle, sql);
}

qint64 RawFile::number(const QByteArray &sql)
{
    Statement query(m_handle, sql);
    query.step();
    return sqlite3_column_int64(query.get(), 0);
}

void visitItems(RawFile &file, void (*visit)(void *, const QString &, const QString &), void *data)
{
    Statement query(file.handle(),
                    "SELECT term.text, item.name FROM collection_item AS item"
                    " JOIN term ON term.k = item.class_k"
                    " WHERE item.collection_k ="
                    " (SELECT k FROM asset WHERE id = CAST('collection://lorimetFilters' AS BLOB))"
                    " ORDER BY item.position");
    const auto text = [&query](int column) {
        return QString::fromUtf8(
                reinterpret_cast<const char *>(sqlite3_column_text(query.get(), column)),
                sqlite3_column_bytes(query.get(), column));
    };
    while (query.step())
        visit(data, text(0), text(1));
}

struct RawRows::Table
{
    QByteArray name;
    int columns = 0;
    std::vector<sqlite3_value *> values; // row by row

    ~Table()
    {
        for (sqlite3_value *value : values)
            sqlite3_value_free(value);
    }
};

RawRows::RawRows(RawFile &file, qint64 firstAsset)
{
    static const std::pair<const char *, const char *> sources[] = {
            {"term", "1"},
            {"asset", "k > %1"},
            {"body", "asset_k > %1"},
            {"metadata", "asset_k > %1"},
            {"collection_item", "1"},
            {"dependency", "asset_k > %1"},
    };
    for (const auto &[name, condition] : sources) {
        auto table = std::make_unique<Table>();
        table->name = name;
        const QByteArray where =
                QByteArray(condition).replace("%1", QByteArray::number(firstAsset));
        Statement query(file.handle(), "SELECT * FROM " + table->name + " WHERE " + where);
        table->columns = sqlite3_column_count(query.get());
        while (query.step()) {
            for (int column = 0; column < table->columns; ++column)
                table->values.push_back(
                        sqlite3_value_dup(sqlite3_column_value(query.get(), column)));
        }
        m_tables.push_back(std::move(table));
    }
}

RawRows::~RawRows() = default;

void RawRows::writeTo(RawFile &file) const
{
    file.run("BEGIN IMMEDIATE");
    for (const auto &table : m_tables) {
        QByteArray sql = "INSERT INTO " + table->name + " VALUES (?";
        for (int column = 1; column < table->columns; ++column)
            sql += ", ?";
        Statement insert(file.handle(), sql + ')');
        std::size_t at = 0;
        while (at < table->values.size()) {
            for (int column = 0; column < table->columns; ++column)
                sqlite3_bind_value(insert.get(), column + 1, table->values[at++]);
            insert.step();
            sqlite3_reset(insert.get());
        }
    }
    file.run("COMMIT");
}

void RawRows::copySchema(RawFile &file, RawFile &empty)
{
    empty.run("PRAGMA page_size = 8192");
    empty.run("PRAGMA journal_mode = WAL");
    empty.run("PRAGMA synchronous = FULL");
    Statement query(file.handle(),
                    "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL AND name NOT LIKE "
                    "'sqlite_%' ORDER BY rowid");
    while (query.step())
        empty.run(reinterpret_cast<const char *>(sqlite3_column_text(query.get(), 0)));
}

} // namespace Tesk::Benchmarks
