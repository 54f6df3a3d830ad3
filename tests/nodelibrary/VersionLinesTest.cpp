#include <nodelibrary/VersionLines.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

namespace Tesk::NodeLibrary {

namespace {

// "NAME kind" or "NAME -> NEXT", one word each, in canonical order.
QStringList settle(const QByteArray &body)
{
    const std::vector<NodeDef> nodeDefs = completedBody(body);
    const std::vector<VersionPlace> places = VersionLines::settle(pointersTo(nodeDefs));
    QStringList texts;
    for (std::size_t i = 0; i < places.size(); ++i) {
        static const QStringList kinds{QStringLiteral("current"), QStringLiteral("optin"),
                                       QStringLiteral("superseded by ")};
        QString text = kinds[static_cast<int>(places[i].kind)];
        if (places[i].next != nullptr)
            text += places[i].next->name;
        texts.append(text);
    }
    return texts;
}

QByteArray v(const QByteArray &name, const QByteArray &version, const QByteArray &more = {})
{
    return overload(name, "n", "float", "version=\"" + version + "\" " + more);
}

const QString sCurrent = QStringLiteral("current");
const QString sOptIn = QStringLiteral("optin");
const QByteArray sDefault = "isdefaultversion=\"true\"";

} // namespace

TEST(VersionLinesTest, takesAllNodeDefsOfTheOnlyVersionForCurrent)
{
    EXPECT_EQ(settle(overload("A", "n", "float") + overload("B", "n", "float")),
              (QStringList{sCurrent, sCurrent}));
    EXPECT_EQ(settle(v("A", "1") + v("B", "1.0", sDefault)), (QStringList{sCurrent, sCurrent}));
}

TEST(VersionLinesTest, takesTheHighestWhenNoneIsFlagged)
{
    EXPECT_EQ(settle(v("A", "1.10") + v("B", "1.9")),
              (QStringList{sCurrent, QStringLiteral("superseded by A")}));
}

TEST(VersionLinesTest, offersVersionsAboveTheDefaultByName)
{
    EXPECT_EQ(settle(v("A", "1", sDefault) + v("B", "2")), (QStringList{sCurrent, sOptIn}));
}

TEST(VersionLinesTest, takesTheHighestOfSeveralDefaults)
{
    EXPECT_EQ(settle(v("A", "1", sDefault) + v("B", "2", sDefault) + v("C", "3")),
              (QStringList{QStringLiteral("superseded by B"), sCurrent, sOptIn}));
}

TEST(VersionLinesTest, leadsEachVersionToTheNextUpToTheDefault)
{
    EXPECT_EQ(
            settle(v("C", "3", sDefault) + overload("A", "n", "float") + v("B", "2") + v("D", "4")),
            (QStringList{sCurrent, QStringLiteral("superseded by B"),
                         QStringLiteral("superseded by C"), sOptIn}));
}

TEST(VersionLinesTest, leadsToTheOverloadWithTheSameParameters)
{
    const QByteArray other = "<nodedef name=\"B\" node=\"n\" version=\"2\" type=\"float\"><input "
                             "name=\"in\" type=\"color3\"/></nodedef>";

    EXPECT_EQ(settle(v("A", "1") + other + v("C", "2")),
              (QStringList{QStringLiteral("superseded by C"), sCurrent, sCurrent}));
    EXPECT_EQ(settle(other + v("A", "1") + v("C", "1.5")),
              (QStringList{sCurrent, QStringLiteral("superseded by C"),
                           QStringLiteral("superseded by B")}));
}

TEST(VersionLinesTest, comparesParametersAsASet)
{
    const auto def = [](const QByteArray &name, const QByteArray &version,
                        const QByteArray &ports) {
        return "<nodedef name=\"" + name + "\" node=\"n\" type=\"float\" version=\"" + version
               + "\">" + ports + "</nodedef>";
    };
    const QByteArray x = "<input name=\"x\" type=\"float\"/>";
    const QByteArray y = "<input name=\"y\" type=\"float\"/>";

    EXPECT_EQ(settle(def("A", "1", x + y) + def("B", "2", x) + def("C", "2", y + x)).front(),
              QStringLiteral("superseded by C"));
}

TEST(VersionLinesTest, settlesEachOutputTypeByItself)
{
    EXPECT_EQ(settle(v("A", "1") + overload("B", "n", "color3", "version=\"2\"")),
              (QStringList{sCurrent, sCurrent}));
}

TEST(VersionLinesTest, settlesEachTargetByItselfAndOffersItByName)
{
    EXPECT_EQ(settle(v("A", "1") + v("B", "2", "target=\"gl\"") + v("C", "1", "target=\"gl\"")),
              (QStringList{sCurrent, sOptIn, QStringLiteral("superseded by B")}));
}

} // namespace Tesk::NodeLibrary
