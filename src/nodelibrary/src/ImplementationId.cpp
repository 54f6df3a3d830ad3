#include <nodelibrary/ImplementationId.h>

#include <QCryptographicHash>
#include <QStringEncoder>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

static constexpr auto sScheme = "mtlx://"_L1;

namespace {

// Every text is preceded by its length, so that no two definitions flow into the same bytes.
class DigestBytes
{
public:
    void addNumber(qsizetype number)
    {
        std::array<char, 24> digits{};
        const char *end = std::to_chars(digits.begin(), digits.end(), number).ptr;
        m_bytes.append(digits.data(), end - digits.data()).append(':');
    }

    void addText(const QString &text)
    {
        addNumber(text.size());
        const qsizetype before = m_bytes.size();
        QStringEncoder encoder(QStringEncoder::Utf8);
        m_bytes.resize(before + encoder.requiredSpace(text.size()));
        const char *end = encoder.appendToBuffer(m_bytes.data() + before, text);
        m_bytes.resize(end - m_bytes.constData());
    }

    void addAttributes(const Attributes &attributes)
    {
        std::vector<std::pair<AttributeName, QString>> sorted(attributes.begin(), attributes.end());
        std::sort(sorted.begin(), sorted.end());
        addNumber(static_cast<qsizetype>(sorted.size()));
        for (const auto &[name, value] : sorted) {
            m_bytes.append(attributeText(name).data()).append(':');
            addText(value);
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

    void clear() { m_bytes.resize(0); }
    const QByteArray &bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

} // namespace

QString ImplementationId::digestOf(const NodeDef &nodeDef, const QString &text)
{
    // Used again and again: the bytes of a definition are many, and soon forgotten.
    thread_local DigestBytes bytes;
    bytes.clear();
    for (const QString &part : {nodeDef.name, nodeDef.node, nodeDef.nameSpace, nodeDef.nodeGroup,
                                nodeDef.version, nodeDef.inherit, nodeDef.target, nodeDef.type})
        bytes.addText(part);
    bytes.addNumber(nodeDef.isDefaultVersion ? 1 : 0);
    bytes.addAttributes(nodeDef.attributes);
    bytes.addPorts(nodeDef.parameters);
    bytes.addPorts(nodeDef.outputs);
    bytes.addText(text);
    const QByteArray hash = QCryptographicHash::hash(bytes.bytes(), QCryptographicHash::Sha256);
    // Half of the hash tells definitions apart as surely and halves every identifier.
    return QString::fromLatin1(hash.first(16).toHex());
}

QByteArray ImplementationId::toBytes() const
{
    return (sScheme + nodeDef + u'@' + digest + u'#' + QString::number(generation)).toUtf8();
}

std::optional<ImplementationId> ImplementationId::fromBytes(const QByteArray &bytes)
{
    const QString text = QString::fromUtf8(bytes);
    // From the back, since a nodedef's name may hold both marks.
    const qsizetype hash = text.lastIndexOf(u'#');
    const qsizetype at = hash < 0 ? -1 : text.lastIndexOf(u'@', hash);
    if (!text.startsWith(sScheme) || at < sScheme.size())
        return std::nullopt;
    bool isNumber = false;
    const int generation = QStringView(text).sliced(hash + 1).toInt(&isNumber);
    if (!isNumber || generation < 1)
        return std::nullopt;
    return ImplementationId{text.sliced(sScheme.size(), at - sScheme.size()),
                            text.sliced(at + 1, hash - at - 1), generation};
}

} // namespace Tesk::NodeLibrary
