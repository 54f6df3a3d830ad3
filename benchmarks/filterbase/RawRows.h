#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <vector>

struct sqlite3;
struct sqlite3_value;

namespace Tesk::Benchmarks {

/// A catalogue file seen through bare SQLite, as the cheapest program would.
class RawFile
{
public:
    explicit RawFile(const QString &path);
    ~RawFile();
    RawFile(const RawFile &) = delete;
    RawFile &operator=(const RawFile &) = delete;

    /// Stops the program with SQLite's message when \a sql fails.
    void run(const QByteArray &sql);
    qint64 number(const QByteArray &sql);

    /// Calls \a visit with the class and the name of each item of the filter collection.
    template<class Visit>
    void forEachItem(Visit visit);

    sqlite3 *handle() const { return m_handle; }

private:
    sqlite3 *m_handle = nullptr;
};

/// The rows of some assets, held in memory, to be written again by bare SQLite.
class RawRows
{
public:
    /// Reads the rows of all assets after row \a firstAsset, and the collection's items.
    RawRows(RawFile &file, qint64 firstAsset);
    ~RawRows();

    /// Writes them into an empty file of the same schema in one transaction, synced.
    void writeTo(RawFile &file) const;

    /// Creates the schema of \a file in \a empty, with the same settings.
    static void copySchema(RawFile &file, RawFile &empty);

private:
    struct Table;

    std::vector<std::unique_ptr<Table>> m_tables;
};

void visitItems(RawFile &file, void (*visit)(void *, const QString &, const QString &), void *data);

template<class Visit>
void RawFile::forEachItem(Visit visit)
{
    visitItems(
            *this,
            [](void *data, const QString &className, const QString &name) {
                (*static_cast<Visit *>(data))(className, name);
            },
            &visit);
}

} // namespace Tesk::Benchmarks
