#include <assets/Serialization.h>

#include <data/RaiseSerialization.h>
#include <vantbase/Location.h>

#include <QString>
#include <QUrl>

#include <vector>

namespace Tesk::Assets::Serialization {

using Data::Serialization::ArrayNode;
using Data::Serialization::Node;

static Node requiredObject(const Node &parent, const char *name)
{
    const Node found = parent.findObject(name);
    if (found.isNull()) {
        Data::raiseSerialization(
                TESK_HERE, QStringLiteral("Malformed asset: no \"%1\" in a node of version %2")
                                   .arg(QLatin1StringView(name))
                                   .arg(parent.hasClassInfo() ? parent.classVersion() : 0));
    }
    return found;
}

// Before version 300 a source file was kept as the path that the system's own dialogs show.
static QString urlTextOf(const QString &nativePath)
{
    QString path = nativePath;
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
}

void upgrade2_3AssetDataTo3_0(Node &node)
{
    const Node data = requiredObject(node, "AssetData");
    const Node next = data.findObject("next");
    const QByteArray nextId = next.isNull() ? QByteArray() : next.toBytes();
    std::vector<QByteArray> dependencies;
    if (const ArrayNode ids = data.findArray("dependencies", "id"); !ids.isNull()) {
        for (const Node &id : ids)
            dependencies.push_back(id.toBytes());
    }
    std::vector<QString> paths;
    if (const ArrayNode files = data.findArray("sourceFiles", "path"); !files.isNull()) {
        for (const Node &file : files)
            paths.push_back(file.toText());
    }
    node.removeChild("AssetData");

    if (!node.renameChild("Content", "Fields"))
        node.addObject("Fields");
    Node fields = node.findObject("Fields");
    fields.addObject("nextVersion").setValue(nextId);
    ArrayNode items = fields.addArray("dependencies", "FieldArray",
                                      static_cast<qsizetype>(dependencies.size()));
    for (const QByteArray &id : dependencies)
        items.append().setValue(id);
    if (paths.empty())
        return;
    ArrayNode files = fields.addArray("externalFilePaths", "path");
    for (const QString &path : paths)
        files.append().setValue(path);
}

void updateAsset_ExternalFileUrls(Node &node)
{
    Node fields = requiredObject(node, "Fields");
    const ArrayNode files = fields.findArray("externalFilePaths", "path");
    if (files.isNull())
        return;
    std::vector<QString> urls;
    for (const Node &file : files)
        urls.push_back(urlTextOf(file.toText()));
    fields.removeChild("externalFilePaths");
    ArrayNode items = fields.addArray("externalFileUrls", "FieldArray");
    for (const QString &url : urls)
        items.append().setValue(url);
}

} // namespace Tesk::Assets::Serialization
