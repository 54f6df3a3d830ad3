#include <data/Cbor.h>

#include "Raised.h"

#include <support/Printers.h>

#include <vantbase/Logger.h>

#include <gtest/gtest.h>

#include <bit>
#include <random>

namespace Tesk::Data::Serialization {

namespace {

/// Builds trees of every kind of content, other ones for each seed.
class RandomTree
{
public:
    explicit RandomTree(quint64 seed)
        : m_random(seed)
    {}

    void fillValue(Node node)
    {
        switch (below(7)) {
        case 0:
            node.setValue(anyInteger());
            break;
        case 1:
            node.setValue(static_cast<qint64>(anyInteger()));
            break;
        case 2:
            node.setValue(below(2) == 1);
            break;
        case 3:
            node.setValue(std::bit_cast<double>(m_random()));
            break;
        case 4:
            node.setValue(static_cast<double>(below(2000)) / 8 - 100);
            break;
        case 5:
            node.setValue(anyText());
            break;
        default:
            node.setValue(anyText().toUtf8().append('\xff'));
        }
    }

    void fillObject(Node node, int depth)
    {
        if (below(3) == 0)
            node.setClassInfo(QStringLiteral("Tesk::Class%1").arg(below(5)), int(below(1000)));
        const quint64 count = below(depth > 3 ? 2 : below(20) == 0 ? 40 : 6);
        for (quint64 i = 0; i < count; ++i)
            addChild(node, QStringLiteral("n%1").arg(i) + anyText(), depth);
    }

private:
    quint64 below(quint64 end) { return m_random() % end; }
    quint64 anyInteger() { return m_random() >> below(64); }
    QString anyText()
    {
        QString text;
        for (quint64 left = below(below(10) == 0 ? 60 : 12); left > 0; --left)
            text += anyCharacter();
        return text;
    }
    QString anyCharacter()
    {
        switch (below(8)) {
        case 0:
            return QStringLiteral("\u00e9");
        case 1:
            return QStringLiteral("\u20ac");
        case 2:
            return QStringLiteral("\U0001f600");
        default:
            return QString(QChar(static_cast<char16_t>(' ' + below(95))));
        }
    }
    void addChild(Node node, const QString &name, int depth)
    {
        switch (below(5)) {
        case 0:
            node.setAttribute(name, static_cast<qint64>(anyInteger()));
            break;
        case 1: {
            ArrayNode array = node.addArray(name, "item");
            for (quint64 left = below(5); left > 0; --left) {
                Node item = array.append();
                below(2) == 0 ? fillValue(item) : fillObject(item, depth + 1);
            }
            break;
        }
        case 2:
            fillObject(node.addObject(name), depth + 1);
            break;
        default:
            fillValue(node.addObject(name));
        }
    }

    std::mt19937_64 m_random;
};

QByteArray sample()
{
    Document document;
    Node root = document.root();
    root.setClassInfo(QStringLiteral("Tesk::FilterBase::DynamicFilterAsset"), 100);
    root.setAttribute("nullptr", false);
    Node fields = root.addObject("Fields");
    ArrayNode map = fields.addArray("types", "FieldHashMap");
    for (const char *key : {"default_color", "default_float3"}) {
        Node entry = map.append();
        entry.addObject("first").setValue(key);
        entry.addObject("second").addObject("ref").setValue(QByteArray(key));
    }
    fields.addObject("half").setValue(0.5);
    fields.addObject("single").setValue(100000.0);
    fields.addObject("double").setValue(1.1);
    fields.addObject("large").setValue(quint64(1) << 40);
    fields.addObject("negative").setValue(-70000);
    fields.addObject("text").setValue(QStringLiteral("caf\u00e9 \U0001f600"));
    return toCbor(document);
}

/// Reads \a bytes, which must give the same bytes again or raise.
/// Returns whether they were accepted.
bool readsFaithfully(const QByteArray &bytes)
{
    QByteArray again;
    if (!raisedBy([&] { again = toCbor(fromCbor(bytes)); }).empty())
        return false;
    EXPECT_EQ(again, bytes) << bytes.toHex().toStdString();
    return true;
}

/// Damaged input is logged; thousands of lines of it help nobody.
class CborPropertyTest : public testing::Test
{
protected:
    CborPropertyTest()
        : m_previous(VantBase::setLogSink([](const VantBase::LogMessage &) {}))
    {}
    ~CborPropertyTest() override { VantBase::setLogSink(m_previous); }

private:
    VantBase::LogSink m_previous;
};

} // namespace

TEST_F(CborPropertyTest, anyTreeGivesTheSameBytesAfterReading)
{
    for (quint64 seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Document document;
        RandomTree(seed).fillObject(document.root(), 0);

        const QByteArray bytes = toCbor(document);

        ASSERT_EQ(toCbor(fromCbor(bytes)), bytes);
    }
}

TEST_F(CborPropertyTest, aCopyOfAnyTreeGivesTheSameBytes)
{
    for (quint64 seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Document document;
        RandomTree(seed).fillObject(document.root(), 0);
        Document copy;
        copy.root().addObject("copy").copyFrom(document.root());

        ASSERT_EQ(toCbor(copy.root().findObject("copy")), toCbor(document));
    }
}

TEST_F(CborPropertyTest, everyTruncationRaises)
{
    const QByteArray whole = sample();
    ASSERT_TRUE(readsFaithfully(whole));

    for (qsizetype size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(readsFaithfully(whole.left(size))) << size;
}

TEST_F(CborPropertyTest, everyMutationOfOneByteIsReadFaithfullyOrRaises)
{
    const QByteArray whole = sample();
    int accepted = 0;
    for (qsizetype at = 0; at < whole.size(); ++at) {
        for (int change = 1; change < 256; ++change) {
            QByteArray damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ change);
            accepted += readsFaithfully(damaged) ? 1 : 0;
        }
    }
    // Other letters in names and texts and other numbers are content, not damage.
    EXPECT_GT(accepted, 1000);
    EXPECT_LT(accepted, whole.size() * 255);
}

TEST_F(CborPropertyTest, everySwapOfNeighboursIsReadFaithfullyOrRaises)
{
    const QByteArray whole = sample();
    for (qsizetype at = 0; at + 1 < whole.size(); ++at) {
        QByteArray damaged = whole;
        std::swap(damaged[at], damaged[at + 1]);
        readsFaithfully(damaged);
    }
}

} // namespace Tesk::Data::Serialization
