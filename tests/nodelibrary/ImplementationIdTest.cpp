#include <nodelibrary/ImplementationId.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

namespace Tesk::NodeLibrary {

static NodeDef sampleDef(const QByteArray &more = {})
{
    return completedBody(overload("N", "n", "float", more)).front();
}

static QString digest(const NodeDef &nodeDef)
{
    return ImplementationId::digestOf(nodeDef, QStringLiteral("default_float"));
}

TEST(ImplementationIdTest, survivesTheWayThroughBytes)
{
    const ImplementationId id{QStringLiteral("odd@name#2"), QStringLiteral("0a1b"), 12};

    EXPECT_EQ(id.toBytes(), QByteArray("mtlx://odd@name#2@0a1b#12"));
    EXPECT_EQ(ImplementationId::fromBytes(id.toBytes()), id);
}

TEST(ImplementationIdTest, refusesForeignBytes)
{
    for (const char *bytes : {"", "mtlx://", "filterDesc://n", "mtlx://N@ab", "mtlx://N#1",
                              "mtlx://N@ab#", "mtlx://N@ab#0", "mtlx://N@ab#x", "mtlx:/@a#1"})
        EXPECT_EQ(ImplementationId::fromBytes(bytes), std::nullopt) << bytes;
}

TEST(ImplementationIdTest, digestsTheSameDefinitionAlike)
{
    EXPECT_EQ(digest(sampleDef()), digest(sampleDef()));
    EXPECT_EQ(digest(sampleDef()).size(), 32);
}

// Stored identifiers hold it: another digest of the same definition would replace every filter.
TEST(ImplementationIdTest, digestsADefinitionAsItEverDid)
{
    const NodeDef nodeDef = sampleDef("uiname=\"R\xC3\xA9tro\" doc=\"a, b\" version=\"1.0\"");

    EXPECT_EQ(digest(nodeDef), QStringLiteral("011f3bad99f2a4eaa3954f1ec90206bf"));
}

TEST(ImplementationIdTest, digestsEveryAttribute)
{
    const QString plain = digest(sampleDef());

    for (const char *more :
         {"nodegroup=\"g\"", "version=\"1\"", "isdefaultversion=\"true\"", "inherit=\"B\"",
          "target=\"gl\"", "type=\"float\"", "doc=\"d\"", "uiname=\"u\"", "namespace=\"s\""})
        EXPECT_NE(digest(sampleDef(more)), plain) << more;
}

TEST(ImplementationIdTest, digestsTheText)
{
    EXPECT_NE(ImplementationId::digestOf(sampleDef(), QStringLiteral("default_float")),
              ImplementationId::digestOf(sampleDef(), QStringLiteral("nodedef:N")));
}

TEST(ImplementationIdTest, digestsThePortsAndTheirOrder)
{
    NodeDef nodeDef = completedBody("<nodedef name=\"N\" node=\"n\"><input name=\"a\"/>"
                                    "<input name=\"b\"/></nodedef>")
                              .front();
    const QString before = digest(nodeDef);
    std::swap(nodeDef.parameters[0], nodeDef.parameters[1]);
    EXPECT_NE(digest(nodeDef), before);
    std::swap(nodeDef.parameters[0], nodeDef.parameters[1]);
    nodeDef.parameters[1].attributes.set(AttributeName::UiMax, QStringLiteral("1"));
    EXPECT_NE(digest(nodeDef), before);
}

TEST(ImplementationIdTest, digestsNoPlace)
{
    NodeDef nodeDef = sampleDef();
    const QString before = digest(nodeDef);
    nodeDef.filePath = QStringLiteral("elsewhere.mtlx");
    nodeDef.line = 99;
    nodeDef.parameters.front().inherited = true;

    EXPECT_EQ(digest(nodeDef), before);
}

TEST(ImplementationIdTest, keepsNeighbouringTextsApart)
{
    NodeDef left = sampleDef();
    left.nodeGroup = QStringLiteral("ab");
    left.version = QStringLiteral("c");
    NodeDef right = sampleDef();
    right.nodeGroup = QStringLiteral("a");
    right.version = QStringLiteral("bc");

    EXPECT_NE(digest(left), digest(right));
}

} // namespace Tesk::NodeLibrary
