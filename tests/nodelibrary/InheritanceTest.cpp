#include <nodelibrary/Inheritance.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Tesk::NodeLibrary {

namespace {

struct Completed
{
    std::vector<NodeDef> nodeDefs;
    Problems problems;

    const NodeDef &find(const QString &name) const
    {
        for (const NodeDef &nodeDef : nodeDefs) {
            if (nodeDef.name == name)
                return nodeDef;
        }
        throw std::out_of_range(name.toStdString());
    }
};

Problems complete(std::vector<NodeDef> &nodeDefs)
{
    std::vector<NodeDef *> pointers;
    for (NodeDef &nodeDef : nodeDefs)
        pointers.push_back(&nodeDef);
    return Inheritance::complete(pointers);
}

Completed completed(const QByteArray &body)
{
    Completed result{readBody(body).nodeDefs, {}};
    result.problems = complete(result.nodeDefs);
    return result;
}

} // namespace

TEST(InheritanceTest, putsMissingPortsOfTheBaseBehindTheOwnOnes)
{
    const Completed result = completed(
            "<nodedef name=\"D\" node=\"n\" inherit=\"B\"><input name=\"b\" type=\"own\"/>"
            "<input name=\"c\"/></nodedef>"
            "<nodedef name=\"B\" node=\"n\" inherit=\"A\"><input name=\"a\"/>"
            "<input name=\"b\" type=\"base\"/><output name=\"out\" type=\"float\"/></nodedef>"
            "<nodedef name=\"A\" node=\"n\"><input name=\"z\"/><input name=\"a\"/></nodedef>");

    const NodeDef &nodeDef = result.find(QStringLiteral("D"));
    EXPECT_EQ(namesOf(nodeDef.parameters), QStringLiteral("b,c,a,z"));
    EXPECT_EQ(nodeDef.parameters.front().type, QStringLiteral("own"));
    EXPECT_FALSE(nodeDef.parameters[1].inherited);
    EXPECT_TRUE(nodeDef.parameters[2].inherited);
    EXPECT_EQ(namesOf(nodeDef.outputs), QStringLiteral("out"));
    EXPECT_TRUE(result.problems.empty());
}

TEST(InheritanceTest, findsTheBaseInTheOwnNamespaceFirst)
{
    const Completed result = completed(
            "<nodedef name=\"B\" node=\"n\"><input name=\"plain\"/></nodedef>"
            "<nodedef name=\"B\" node=\"n\" namespace=\"s\"><input name=\"near\"/></nodedef>"
            "<nodedef name=\"D\" node=\"n\" namespace=\"s\" inherit=\"B\"/>");

    EXPECT_EQ(namesOf(result.find(QStringLiteral("s:D")).parameters), QStringLiteral("near"));
}

TEST(InheritanceTest, findsABaseOutsideTheNamespace)
{
    const Completed result =
            completed("<nodedef name=\"B\" node=\"n\"><input name=\"plain\"/></nodedef>"
                      "<nodedef name=\"D\" node=\"n\" namespace=\"s\" inherit=\"B\"/>");

    EXPECT_EQ(namesOf(result.find(QStringLiteral("s:D")).parameters), QStringLiteral("plain"));
}

TEST(InheritanceTest, reportsAMissingBaseOnce)
{
    const Completed result = completed("<nodedef name=\"E\" node=\"n\" inherit=\"D\"/>"
                                       "<nodedef name=\"D\" node=\"n\" inherit=\"gone\"/>");

    ASSERT_EQ(result.problems.size(), 1U);
    EXPECT_EQ(result.problems.front().severity, Problem::Severity::Remark);
    EXPECT_EQ(result.problems.front().text,
              QStringLiteral("\"D\" inherits from \"gone\", which no file defines"));
}

TEST(InheritanceTest, endsACircleAtItsBeginning)
{
    const Completed result =
            completed("<nodedef name=\"A\" node=\"n\" inherit=\"B\"><input name=\"a\"/></nodedef>"
                      "<nodedef name=\"B\" node=\"n\" inherit=\"A\"><input name=\"b\"/></nodedef>"
                      "<nodedef name=\"C\" node=\"n\" inherit=\"A\"/>");

    EXPECT_EQ(namesOf(result.find(QStringLiteral("A")).parameters), QStringLiteral("a,b"));
    EXPECT_EQ(namesOf(result.find(QStringLiteral("B")).parameters), QStringLiteral("b,a"));
    EXPECT_EQ(namesOf(result.find(QStringLiteral("C")).parameters), QStringLiteral("a,b"));
    ASSERT_EQ(result.problems.size(), 2U);
    EXPECT_EQ(result.problems.front().text,
              QStringLiteral("\"A\" inherits from itself by way of \"B\""));
}

TEST(InheritanceTest, makesAnOutputOfTheFirstUsableTypeOnTheLine)
{
    const Completed result =
            completed("<nodedef name=\"D\" node=\"n\" type=\"multioutput\" inherit=\"B\""
                      " default=\"0\" defaultinput=\"in\"/>"
                      "<nodedef name=\"B\" node=\"n\" type=\"color3\" default=\"1\"/>");

    const NodeDef &nodeDef = result.find(QStringLiteral("D"));
    ASSERT_EQ(nodeDef.outputs.size(), 1U);
    EXPECT_EQ(nodeDef.outputs.front().name, QStringLiteral("out"));
    EXPECT_EQ(nodeDef.outputs.front().type, QStringLiteral("color3"));
    EXPECT_EQ(nodeDef.outputs.front().attributes.value(AttributeName::Default),
              QStringLiteral("0"));
    EXPECT_EQ(nodeDef.variableUsage(), QStringLiteral("in"));
}

TEST(InheritanceTest, makesAnOutputOfTheOwnTypeWithoutABase)
{
    const Completed result = completed("<nodedef name=\"D\" node=\"n\" type=\"float\"/>");

    const NodeDef &nodeDef = result.find(QStringLiteral("D"));
    EXPECT_EQ(namesOf(nodeDef.outputs), QStringLiteral("out"));
    EXPECT_EQ(nodeDef.outputType(), QStringLiteral("float"));
}

TEST(InheritanceTest, prefersTheOwnTypeToTheBasesImpliedOutput)
{
    const Completed result = completed("<nodedef name=\"D\" node=\"n\" type=\"float\" inherit=\"B\""
                                       "/><nodedef name=\"B\" node=\"n\" type=\"color3\"/>");

    EXPECT_EQ(result.find(QStringLiteral("D")).outputType(), QStringLiteral("float"));
}

TEST(InheritanceTest, prefersAnOutputToAType)
{
    const Completed result = completed("<nodedef name=\"D\" node=\"n\" type=\"float\"><output "
                                       "name=\"result\" type=\"color3\"/></nodedef>");

    EXPECT_EQ(namesOf(result.find(QStringLiteral("D")).outputs), QStringLiteral("result"));
}

TEST(InheritanceTest, leavesANodeDefWithoutATypeWithoutOutputs)
{
    const Completed result = completed("<nodedef name=\"D\" node=\"n\" type=\"multioutput\"/>");

    EXPECT_TRUE(result.find(QStringLiteral("D")).outputs.empty());
}

TEST(InheritanceTest, startsAnewWhenCalledAgain)
{
    Completed result = completed(
            "<nodedef name=\"D\" node=\"n\" inherit=\"B\"/>"
            "<nodedef name=\"B\" node=\"n\" type=\"float\"><input name=\"b\"/></nodedef>");
    result.nodeDefs.pop_back();

    const Problems problems = complete(result.nodeDefs);

    EXPECT_TRUE(result.find(QStringLiteral("D")).parameters.empty());
    EXPECT_TRUE(result.find(QStringLiteral("D")).outputs.empty());
    EXPECT_EQ(problems.size(), 1U);
}

TEST(InheritanceTest, endsALineThatNoPersonWrote)
{
    QByteArray body;
    for (int i = 0; i < 100; ++i) {
        const QByteArray number = QByteArray::number(i);
        body += "<nodedef name=\"N" + number + "\" node=\"n\" inherit=\"N"
                + QByteArray::number(i + 1) + "\"><input name=\"i" + number + "\"/></nodedef>";
    }
    const Completed result = completed(body + "<nodedef name=\"N100\" node=\"n\"/>");

    EXPECT_EQ(result.find(QStringLiteral("N0")).parameters.size(), 64U);
    ASSERT_FALSE(result.problems.empty());
    EXPECT_EQ(result.problems.front().text,
              QStringLiteral("\"N0\" has more than 63 bases; the others are left out"));
}

} // namespace Tesk::NodeLibrary
