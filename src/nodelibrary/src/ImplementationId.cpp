#include <nodelibrary/ImplementationId.h>

#include <QCryptographicHash>
#include <QStringBuilder>
#include <QStringEncoder>
#include <QVarLengthArray>

#include <algorithm>
#include <charconv>
#include <utility>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

static constexpr char sScheme[] = "mtlx://";
static constexpr qsizetype sSchemeSize = std::size(sScheme) - 1;

namespace {

// Every text is preceded by its length, so that no two definitions flow into the same bytes.
class DigestBytes
{
public:
    void addNumber(qsizetype number)
    {
        static constexpr qsizetype sMost = 24;
        char *const begin = room(sMost);
        char *const end = std::to_chars(begin, begin + sMost - 1, number).ptr;
        *end = ':';
        m_size += end + 1 - begin;
    }

    void addText(const QString &text)
    {
        addNumber(text.size());
        char *to = room(text.size());
        for (const QChar unit : text) {
            if (unit.unicode() >= 0x80)
                return encode(text);
            *to++ = static_cast<char>(unit.unicode());
        }
        m_size += text.size();
    }

    void addAttributes(const Attributes &attributes)
    {
        m_sorted.clear();
        for (const auto &attribute : attributes)
            m_sorted.push_back(&attribute);
        // A name occurs once only.
        std::sort(m_sorted.begin(), m_sorted.end(),
                  [](const auto *left, const auto *right) { return left->first < right->first; });
        addNumber(m_sorted.size());
        for (const auto *attribute : m_sorted) {
            const QLatin1StringView name = attributeText(attribute->first);
            char *const to = std::copy(name.begin(), name.end(), room(name.size() + 1));
            *to = ':';
            m_size += name.size() + 1;
            addText(attribute->second);
        }
    }

    void addPorts(const std::vector<NodePort> &ports)
    {
        addNumber(static_cast<qsizetype>(ports.size()));
        for (const NodePort &port : ports) {
            addNumber(static_cast<qsizetype>(port.kind));
            addText(port.name);
            addText(port.type);
            addAttributes(port.attributes);
        }
    }

    QByteArrayView bytes() const { return {m_bytes.data(), m_size}; }

private:
    // Where so many more bytes may be written.
    char *room(qsizetype size)
    {
        if (m_bytes.size() - m_size < size)
            m_bytes.resize(2 * m_bytes.size() + size);
        return m_bytes.data() + m_size;
    }

    void encode(const QString &text)
    {
        QStringEncoder encoder(QStringEncoder::Utf8);
        char *const begin = room(encoder.requiredSpace(text.size()));
        m_size += encoder.appendToBuffer(begin, text) - begin;
    }

    QVarLengthArray<char, qsizetype{16} * 1024> m_bytes; // room for most definitions
    qsizetype m_size = 0;                                // what is written of it
    QVarLengthArray<const std::pair<AttributeName, QString> *, 32> m_sorted; // of one element
};

} // namespace

QString ImplementationId::digestOf(const NodeDef &nodeDef, const QString &text)
{
    DigestBytes bytes;
    for (const QString *part :
         {&nodeDef.name, &nodeDef.node, &nodeDef.nameSpace, &nodeDef.nodeGroup, &nodeDef.version,
          &nodeDef.inherit, &nodeDef.target, &nodeDef.type})
        bytes.addText(*part);
    bytes.addNumber(nodeDef.isDefaultVersion ? 1 : 0);
    bytes.addAttributes(nodeDef.attributes);
    bytes.addPorts(nodeDef.parameters);
    bytes.addPorts(nodeDef.outputs);
    bytes.addText(text);
    const QByteArray hash =
            QCryptographicHash::hash(bytes.bytes(), QCryptographicHash::Blake2b_256);
    // Half of the hash tells definitions apart as surely and halves every identifier.
    return QString::fromLatin1(hash.first(16).toHex());
}

QByteArray ImplementationId::toBytes() const
{
    return sScheme % nodeDef.toUtf8() % '@' % digest.toUtf8() % '#'
           % QByteArray::number(generation);
}

std::optional<ImplementationId> ImplementationId::fromBytes(const QByteArray &bytes)
{
    const QString text = QString::fromUtf8(bytes);
    // From the back, since a nodedef's name may hold both marks.
    const qsizetype hash = text.lastIndexOf(u'#');
    const qsizetype at = hash < 0 ? -1 : text.lastIndexOf(u'@', hash);
    if (!text.startsWith(QLatin1StringView(sScheme)) || at < sSchemeSize)
        return std::nullopt;
    bool isNumber = false;
    const int generation = QStringView(text).sliced(hash + 1).toInt(&isNumber);
    if (!isNumber || generation < 1)
        return std::nullopt;
    return ImplementationId{text.sliced(sSchemeSize, at - sSchemeSize),
                            text.sliced(at + 1, hash - at - 1), generation};
}

} // namespace Tesk::NodeLibrary
