#include "LostNodeDefs.h"

#include <nodelibrary/NodeDefAsset.h>

#include <QSet>
#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

using RefusedFile = LostNodeDefs::RefusedFile;

static QSet<QString> namesOf(const QString &library, const std::vector<ReadLibrary> &read)
{
    QSet<QString> names;
    for (const ReadLibrary &part : read) {
        if (part.name != library)
            continue;
        for (const ReadNodeDef &each : part.nodeDefs)
            names.insert(each.nodeDef.name);
    }
    return names;
}

// The library may stand elsewhere than when it came; its folder looks the same from inside.
static bool isFrom(const QString &source, const RefusedFile &refused)
{
    return source == refused.filePath || source.startsWith(refused.filePath + u'/')
           || source.endsWith(u'/' + refused.relativePath);
}

Problems LostNodeDefs::find(const std::vector<RefusedFile> &refused, const HeldCatalogue &held,
                            const std::vector<ReadLibrary> &read)
{
    Problems problems;
    for (const RefusedFile &file : refused) {
        const QSet<QString> kept = namesOf(file.library, read);
        int count = 0;
        for (std::size_t i = 0; i < held.implementations().size(); ++i) {
            const HeldImplementation &each = held.implementations()[i];
            if (each.library == file.library && !kept.contains(each.nodeDef.name)
                && isFrom(held.assets()[i]->getSourceFileUrl().toLocalFile(), file))
                ++count;
        }
        if (count == 0)
            continue;
        const QString what = count == 1 ? u"1 nodedef that it brought before leaves"_s
                                        : u"%1 nodedefs that it brought before leave"_s.arg(count);
        problems.push_back({.severity = Problem::Severity::Remark,
                            .file = file.filePath,
                            .text = what
                                    + u" the catalogue; mend it and import the library again to "
                                      "have them back"_s});
    }
    return problems;
}

} // namespace Tesk::NodeLibrary
