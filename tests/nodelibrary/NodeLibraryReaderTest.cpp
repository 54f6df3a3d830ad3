#include <nodelibrary/NodeLibraryReader.h>

#include "NodeDefs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <utility>
#include <vector>

#include <sys/stat.h>

namespace Tesk::NodeLibrary {

using testing::HasSubstr;

namespace {

constexpr auto sHeader = "<?xml version=\"1.0\"?>";

// The one problem of a file that must be refused whole.
Problem refusalOf(const QByteArray &bytes)
{
    const NodeLibrary library = NodeLibraryReader::readBytes(bytes, QStringLiteral("bad.mtlx"));
    EXPECT_TRUE(library.nodeDefs.empty());
    EXPECT_EQ(library.problems.size(), 1U);
    if (library.problems.empty())
        return {};
    EXPECT_EQ(library.problems.front().severity, Problem::Severity::FileRefused);
    EXPECT_EQ(library.problems.front().file, QStringLiteral("bad.mtlx"));
    return library.problems.front();
}

QByteArray nested(int depth)
{
    return QByteArray("<g>").repeated(depth) + QByteArray("</g>").repeated(depth);
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

} // namespace

TEST(NodeLibraryReaderTest, readsANodeDefWithItsPortsInDocumentOrder)
{
    const NodeLibrary library = readBody(
            "<nodedef name=\"ND_blur_float\" node=\"blur\" nodegroup=\"filter\" version=\"1.2\""
            " isdefaultversion=\"true\" inherit=\"ND_base\" target=\"gl\" type=\"float\""
            " doc=\"Softens.\" uiname=\"Blur\" unheard=\"of\">"
            "<input name=\"in\" type=\"float\" value=\"0.5\" uimin=\"0\"/>"
            "<parameter name=\"size\" type=\"integer\"/><token name=\"suffix\" type=\"string\"/>"
            "<output name=\"out\" type=\"float\" defaultinput=\"in\"/></nodedef>");

    ASSERT_EQ(library.nodeDefs.size(), 1U);
    const NodeDef &nodeDef = library.nodeDefs.front();
    EXPECT_EQ(nodeDef.name, QStringLiteral("ND_blur_float"));
    EXPECT_EQ(nodeDef.node, QStringLiteral("blur"));
    EXPECT_EQ(nodeDef.nodeGroup, QStringLiteral("filter"));
    EXPECT_EQ(nodeDef.version, QStringLiteral("1.2"));
    EXPECT_TRUE(nodeDef.isDefaultVersion);
    EXPECT_EQ(nodeDef.inherit, QStringLiteral("ND_base"));
    EXPECT_EQ(nodeDef.target, QStringLiteral("gl"));
    EXPECT_EQ(nodeDef.type, QStringLiteral("float"));
    EXPECT_EQ(nodeDef.attributes.value(AttributeName::Doc), QStringLiteral("Softens."));
    EXPECT_EQ(namesOf(nodeDef.parameters), QStringLiteral("in,size,suffix"));
    EXPECT_EQ(namesOf(nodeDef.outputs), QStringLiteral("out"));
    EXPECT_TRUE(library.problems.empty());
}

TEST(NodeLibraryReaderTest, keepsTheAttributesOfAnInputAsText)
{
    const NodeLibrary library =
            readBody("<nodedef name=\"N\" node=\"n\"><input name=\"in\" type=\"color3\""
                     " value=\" 1, no number \" enum=\"a,b\" enumvalues=\"1\"/></nodedef>");

    ASSERT_EQ(library.nodeDefs.size(), 1U);
    const Attributes &attributes = library.nodeDefs.front().parameters.front().attributes;
    EXPECT_EQ(attributes.value(AttributeName::Value), QStringLiteral(" 1, no number "));
    EXPECT_EQ(attributes.value(AttributeName::Enum), QStringLiteral("a,b"));
    EXPECT_EQ(attributes.value(AttributeName::EnumValues), QStringLiteral("1"));
    EXPECT_FALSE(attributes.contains(AttributeName::UiMin));
}

TEST(NodeLibraryReaderTest, givesEachKindOfParameterItsKind)
{
    const NodeLibrary library = readBody("<nodedef name=\"N\" node=\"n\"><input name=\"a\"/>"
                                         "<parameter name=\"b\"/><token name=\"c\"/></nodedef>");

    const std::vector<NodePort> &parameters = library.nodeDefs.front().parameters;
    EXPECT_EQ(parameters[0].kind, NodePort::Kind::Input);
    EXPECT_EQ(parameters[1].kind, NodePort::Kind::Parameter);
    EXPECT_EQ(parameters[2].kind, NodePort::Kind::Token);
}

TEST(NodeLibraryReaderTest, qualifiesNamesWithTheFilesNamespace)
{
    const NodeLibrary library = NodeLibraryReader::readBytes(
            "<materialx namespace=\"studio\"><nodedef name=\"N\" node=\"n\"/></materialx>",
            QStringLiteral("test.mtlx"));

    EXPECT_EQ(library.nodeDefs.front().name, QStringLiteral("studio:N"));
    EXPECT_EQ(library.nodeDefs.front().node, QStringLiteral("studio:n"));
}

TEST(NodeLibraryReaderTest, prefersANodeDefsOwnNamespace)
{
    const NodeLibrary library =
            NodeLibraryReader::readBytes("<materialx namespace=\"studio\"><nodedef name=\"N\""
                                         " node=\"own:n\" namespace=\"own\"/></materialx>",
                                         QStringLiteral("test.mtlx"));

    EXPECT_EQ(library.nodeDefs.front().name, QStringLiteral("own:N"));
    EXPECT_EQ(library.nodeDefs.front().node, QStringLiteral("own:n"));
}

TEST(NodeLibraryReaderTest, readsNoNodeDefOutOfACommentOrAnotherElement)
{
    const NodeLibrary library = readBody("<!-- <nodedef name=\"A\" node=\"a\"/> -->"
                                         "<nodegraph><nodedef name=\"B\" node=\"b\"/></nodegraph>"
                                         "<implementation><input name=\"x\"/></implementation>");

    EXPECT_TRUE(library.nodeDefs.empty());
    EXPECT_TRUE(library.problems.empty());
}

TEST(NodeLibraryReaderTest, readsNoPortOutOfAPort)
{
    const NodeLibrary library = readBody("<nodedef name=\"N\" node=\"n\"><input name=\"a\">"
                                         "<input name=\"b\"/></input><other><input name=\"c\"/>"
                                         "</other><input name=\"d\"/></nodedef>");

    EXPECT_EQ(namesOf(library.nodeDefs.front().parameters), QStringLiteral("a,d"));
}

TEST(NodeLibraryReaderTest, reportsAMissingNodeAtItsPlace)
{
    const NodeLibrary library = NodeLibraryReader::readBytes(
            "<materialx>\n  <!-- none -->\n  <nodedef name=\"N\"\n  uiname=\"x\"/>\n</materialx>",
            QStringLiteral("test.mtlx"));

    EXPECT_TRUE(library.nodeDefs.empty());
    ASSERT_EQ(library.problems.size(), 1U);
    EXPECT_EQ(library.problems.front().toString(),
              QStringLiteral("test.mtlx:3:3: the nodedef \"N\" has no \"node\"; it is left out"));
    EXPECT_EQ(library.problems.front().severity, Problem::Severity::NodeDefRefused);
}

TEST(NodeLibraryReaderTest, refusesAnEmptyNameEvenInsideANamespace)
{
    const NodeLibrary library =
            readBody("<nodedef name=\"\" node=\"n\" namespace=\"s\"/><nodedef name=\"N\" "
                     "node=\"\" namespace=\"s\"/>");

    EXPECT_TRUE(library.nodeDefs.empty());
    EXPECT_EQ(library.problems.size(), 2U);
}

TEST(NodeLibraryReaderTest, keepsTheFirstOfTwoPortsOfOneName)
{
    const NodeLibrary library =
            readBody("<nodedef name=\"N\" node=\"n\"><input name=\"a\" type=\"float\"/>"
                     "<token name=\"a\" type=\"string\"/><output name=\"a\"/></nodedef>");

    EXPECT_EQ(library.nodeDefs.front().parameters.size(), 1U);
    EXPECT_EQ(library.nodeDefs.front().parameters.front().type, QStringLiteral("float"));
    EXPECT_TRUE(library.nodeDefs.front().outputs.empty());
    ASSERT_EQ(library.problems.size(), 2U);
    EXPECT_EQ(library.problems.front().severity, Problem::Severity::Remark);
    EXPECT_EQ(library.problems.front().text,
              QStringLiteral("\"N\" has \"a\" twice; the second is left out"));
}

TEST(NodeLibraryReaderTest, keepsTheFirstOfTwoPortsOfOneNameAmongMany)
{
    static constexpr int sCount = 100;
    QByteArray ports;
    for (int i = 0; i < sCount; ++i)
        ports += "<input name=\"i" + QByteArray::number(i) + "\"/>";
    for (const int again : {0, 31, 32, 99})
        ports += "<output name=\"i" + QByteArray::number(again) + "\"/>";
    ports += "<output name=\"o\"/>";

    const NodeLibrary library = readBody("<nodedef name=\"N\" node=\"n\">" + ports
                                         + "</nodedef><nodedef name=\"M\" node=\"n\">"
                                         + "<input name=\"i99\"/></nodedef>");

    EXPECT_EQ(library.nodeDefs.front().parameters.size(), 100U);
    EXPECT_EQ(library.nodeDefs.front().outputs.size(), 1U);
    EXPECT_EQ(library.nodeDefs.back().parameters.size(), 1U);
    ASSERT_EQ(library.problems.size(), 4U);
    EXPECT_EQ(library.problems[1].text,
              QStringLiteral("\"N\" has \"i31\" twice; the second is left out"));
}

TEST(NodeLibraryReaderTest, keepsTheFirstOfTwoNodeDefsOfOneName)
{
    const NodeLibrary library =
            readBody("<nodedef name=\"N\" node=\"first\"/><nodedef name=\"N\" node=\"second\"/>");

    ASSERT_EQ(library.nodeDefs.size(), 1U);
    EXPECT_EQ(library.nodeDefs.front().node, QStringLiteral("first"));
    ASSERT_EQ(library.problems.size(), 1U);
    EXPECT_EQ(library.problems.front().text,
              QStringLiteral("the nodedef \"N\" is left out; test.mtlx:1 defines it first"));
}

TEST(NodeLibraryReaderTest, toleratesUndeclaredPrefixes)
{
    const NodeLibrary library =
            readBody("<studio:tile name=\"t\"/><nodedef name=\"N\" node=\"n\" x:y=\"1\"/>");

    EXPECT_EQ(library.nodeDefs.size(), 1U);
    EXPECT_TRUE(library.problems.empty());
}

TEST(NodeLibraryReaderTest, skipsAByteOrderMarkAndBlanksBeforeTheDeclaration)
{
    const NodeLibrary library = NodeLibraryReader::readBytes(
            QByteArray("\xEF\xBB\xBF \r\n\t") + sHeader
                    + "\n<materialx>\n<nodedef name=\"N\" node=\"n\"/></materialx>",
            QStringLiteral("test.mtlx"));

    ASSERT_EQ(library.nodeDefs.size(), 1U);
    EXPECT_EQ(library.nodeDefs.front().line, 4);
    EXPECT_EQ(library.nodeDefs.front().column, 1);
}

TEST(NodeLibraryReaderTest, countsTheBlanksCutOffInTheColumnOfTheFirstLine)
{
    const NodeLibrary library = NodeLibraryReader::readBytes(
            "   <materialx><nodedef name=\"N\" node=\"n\"/></materialx>", QStringLiteral("t"));

    ASSERT_EQ(library.nodeDefs.size(), 1U);
    EXPECT_EQ(library.nodeDefs.front().line, 1);
    EXPECT_EQ(library.nodeDefs.front().column, 15);
}

TEST(NodeLibraryReaderTest, readsTextBeyondTheBasicPlane)
{
    const NodeLibrary library = readBody("<nodedef name=\"N\" node=\"\xF0\x9F\x8E\xA8\"/>");

    EXPECT_EQ(library.nodeDefs.front().node.toUtf8(), QByteArray("\xF0\x9F\x8E\xA8"));
}

TEST(NodeLibraryReaderTest, refusesAnotherRoot)
{
    EXPECT_EQ(refusalOf("<svg><nodedef name=\"N\" node=\"n\"/></svg>").text,
              QStringLiteral("the root element is \"svg\", expected \"materialx\""));
}

TEST(NodeLibraryReaderTest, dropsWhatCameBeforeAnErrorAndTellsItsPlace)
{
    const Problem problem = refusalOf("<materialx>\n<nodedef name=\"N\" node=\"n\"/>\n"
                                      "<nodedef name=\"M\"\n</materialx>");

    EXPECT_EQ(problem.line, 4);
    EXPECT_EQ(problem.column, 1);
    EXPECT_EQ(problem.text, QStringLiteral("not well-formed: invalid token"));
}

TEST(NodeLibraryReaderTest, refusesARawLessThanInAnAttribute)
{
    const Problem problem =
            refusalOf("<materialx>\n<nodedef name=\"N\" node=\"n\" doc=\"a < b\"/></materialx>");

    EXPECT_EQ(problem.line, 2);
    EXPECT_EQ(problem.column, 35);
}

TEST(NodeLibraryReaderTest, refusesAFileThatEndsTooSoon)
{
    const Problem problem = refusalOf("<materialx>\n<nodedef name=\"N\" node=\"n\">");

    EXPECT_EQ(problem.line, 2);
    EXPECT_EQ(problem.text, QStringLiteral("not well-formed: no element found"));
}

TEST(NodeLibraryReaderTest, refusesATagThatClosesAnother)
{
    const Problem problem = refusalOf("<materialx>\n <nodedef></input></materialx>");

    EXPECT_EQ(problem.line, 2);
    EXPECT_EQ(problem.text, QStringLiteral("not well-formed: mismatched tag"));
}

TEST(NodeLibraryReaderTest, refusesContentBehindTheRoot)
{
    const Problem problem = refusalOf("<materialx/>\n<materialx/>");

    EXPECT_EQ(problem.line, 2);
    EXPECT_EQ(problem.text, QStringLiteral("not well-formed: junk after document element"));
}

TEST(NodeLibraryReaderTest, refusesEmptyAndBlankFiles)
{
    refusalOf("");
    refusalOf(" \n ");
    refusalOf("\xEF\xBB\xBF");
}

TEST(NodeLibraryReaderTest, refusesBytesThatAreNoUtf8)
{
    refusalOf("<materialx><nodedef name=\"\xFF\xC0\" node=\"n\"/></materialx>");
}

TEST(NodeLibraryReaderTest, refusesAnUnknownEncoding)
{
    EXPECT_EQ(refusalOf("<?xml version=\"1.0\" encoding=\"EBCDIC\"?><materialx/>").text,
              QStringLiteral("is declared as EBCDIC, expected UTF-8"));
}

TEST(NodeLibraryReaderTest, refusesAnotherDeclaredEncoding)
{
    EXPECT_EQ(refusalOf("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><materialx/>").text,
              QStringLiteral("is declared as ISO-8859-1, expected UTF-8"));
}

TEST(NodeLibraryReaderTest, refusesSixteenBitText)
{
    const QString text = QStringLiteral("<materialx/>");
    const QByteArray little(reinterpret_cast<const char *>(text.utf16()), 2 * text.size());

    EXPECT_EQ(refusalOf("\xFF\xFE" + little).text, QStringLiteral("is not encoded in UTF-8"));
    EXPECT_EQ(refusalOf(little).text, QStringLiteral("is not encoded in UTF-8"));
}

TEST(NodeLibraryReaderTest, refusesATagWithCountlessAttributes)
{
    QByteArray tag = "<nodedef name='>' ";
    for (int i = 0; i < 200'000; ++i)
        tag += " a" + QByteArray::number(i) + "='>'";

    const Problem problem =
            refusalOf("<materialx>\n<!-- < --><![CDATA[<]]><?p <?>" + tag + "/></materialx>");

    EXPECT_EQ(problem.text, QStringLiteral("has a tag with more than 1000 attributes"));
    EXPECT_EQ(problem.line, 2);
}

TEST(NodeLibraryReaderTest, refusesOneAttributeTooManyHoweverShort)
{
    const auto tag = [](int attributes) {
        return "<materialx><a" + QByteArray(" b=''").repeated(attributes) + "/></materialx>";
    };

    EXPECT_EQ(refusalOf(tag(1001)).text,
              QStringLiteral("has a tag with more than 1000 attributes"));
    EXPECT_EQ(refusalOf(tag(1000)).text, QStringLiteral("not well-formed: duplicate attribute"));
}

TEST(NodeLibraryReaderTest, doesNotCountTheAttributesOfAComment)
{
    const NodeLibrary library = readBody("<!-- <a " + QByteArray("b='1' ").repeated(2000)
                                         + "> --><nodedef name=\"N\" node=\"n\"/>");

    EXPECT_EQ(library.nodeDefs.size(), 1U);
}

TEST(NodeLibraryReaderTest, refusesANulByte)
{
    const QByteArray nul(1, '\0');
    refusalOf("<materialx><nodedef name=\"N" + nul + "\" node=\"n\"/></materialx>");
    refusalOf("<materialx>" + nul + "</materialx>");
    refusalOf("<materialx/>" + nul);
}

TEST(NodeLibraryReaderTest, refusesEntitiesBeforeTheyGrow)
{
    QByteArray bomb = "<!DOCTYPE materialx [<!ENTITY a \"aaaaaaaaaa\">";
    for (char name = 'b'; name <= 'k'; ++name)
        bomb += QByteArray("<!ENTITY ") + name + " \""
                + (QByteArray("&") + static_cast<char>(name - 1) + ";").repeated(10) + "\">";
    bomb += "]><materialx><nodedef name=\"&k;\" node=\"n\"/></materialx>";

    EXPECT_EQ(refusalOf(bomb).text,
              QStringLiteral("declares entities, which a node library may not"));
}

TEST(NodeLibraryReaderTest, toleratesADocumentTypeWithoutEntities)
{
    const NodeLibrary library = NodeLibraryReader::readBytes(
            "<!DOCTYPE materialx><materialx><nodedef name=\"N\" node=\"n\"/></materialx>",
            QStringLiteral("test.mtlx"));

    EXPECT_EQ(library.nodeDefs.size(), 1U);
}

TEST(NodeLibraryReaderTest, survivesDeepNesting)
{
    const NodeLibrary library = readBody(nested(200'000) + "<nodedef name=\"N\" node=\"n\">"
                                         + nested(200'000) + "</nodedef>");

    EXPECT_EQ(library.nodeDefs.size(), 1U);
}

TEST(NodeLibraryReaderTest, keepsAHugeAttributeWhole)
{
    const NodeLibrary library =
            readBody("<nodedef name=\"N\" node=\"n\" doc=\"" + QByteArray(8 << 20, 'x') + "\"/>");

    ASSERT_EQ(library.nodeDefs.size(), 1U);
    EXPECT_EQ(library.nodeDefs.front().attributes.value(AttributeName::Doc).size(), 8 << 20);
}

TEST(NodeLibraryReaderTest, reportsAPathThatDoesNotExist)
{
    const NodeLibrary library = NodeLibraryReader::readPath(QStringLiteral("/nowhere/at/all"));

    EXPECT_EQ(library.fileCount, 0);
    ASSERT_EQ(library.problems.size(), 1U);
    EXPECT_EQ(library.problems.front().toString(),
              QStringLiteral("/nowhere/at/all: cannot be read: No such file or directory"));
}

TEST(NodeLibraryReaderTest, goesOnBehindABrokenFile)
{
    const QTemporaryDir folder;
    write(folder.filePath(QStringLiteral("a.mtlx")), "<materialx>");
    write(folder.filePath(QStringLiteral("b.mtlx")),
          "<materialx><nodedef name=\"N\" node=\"n\"/></materialx>");

    const NodeLibrary library = NodeLibraryReader::readPath(folder.path());

    EXPECT_EQ(library.fileCount, 2);
    ASSERT_EQ(library.nodeDefs.size(), 1U);
    EXPECT_EQ(library.nodeDefs.front().filePath, folder.filePath(QStringLiteral("b.mtlx")));
    EXPECT_EQ(library.nodeDefs.front().relativePath, QStringLiteral("b.mtlx"));
    ASSERT_EQ(library.problems.size(), 1U);
    EXPECT_EQ(library.problems.front().file, folder.filePath(QStringLiteral("a.mtlx")));
}

TEST(NodeLibraryReaderTest, neitherWaitsForAPipeNorReadsADeviceWithoutEnd)
{
    const QTemporaryDir folder;
    write(folder.filePath(QStringLiteral("good.mtlx")),
          "<materialx><nodedef name=\"N\" node=\"n\"/></materialx>");
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder.filePath(QStringLiteral("pipe.mtlx"))), 0600), 0);
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/zero"),
                            folder.filePath(QStringLiteral("device.mtlx"))));
    ASSERT_TRUE(
            QFile::link(QStringLiteral("nowhere"), folder.filePath(QStringLiteral("lost.mtlx"))));

    const NodeLibrary library = NodeLibraryReader::readPath(folder.path());

    EXPECT_EQ(library.nodeDefs.size(), 1U);
    ASSERT_EQ(library.problems.size(), 3U);
    for (const Problem &problem : library.problems) {
        EXPECT_EQ(problem.severity, Problem::Severity::FileRefused);
        EXPECT_THAT(problem.text.toStdString(), testing::StartsWith("cannot be read: "));
    }
}

TEST(NodeLibraryReaderTest, tellsItsProgressAndStopsWhenAsked)
{
    const QTemporaryDir folder;
    for (const char *name : {"a.mtlx", "b.mtlx", "c.mtlx"})
        write(folder.filePath(QString::fromLatin1(name)), "<materialx/>");
    std::vector<std::pair<int, int>> calls;

    const NodeLibrary library = NodeLibraryReader::readPath(folder.path(), [&](int done, int of) {
        calls.emplace_back(done, of);
        return done < 1;
    });

    EXPECT_TRUE(library.isCancelled);
    EXPECT_EQ(calls, (std::vector<std::pair<int, int>>{{0, 3}, {1, 3}}));
}

} // namespace Tesk::NodeLibrary
