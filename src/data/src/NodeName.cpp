#include <data/NodeName.h>

#include "Utf8.h"

namespace Tesk::Data::Serialization {

NodeName::NodeName(QLatin1StringView text)
{
    const std::string_view bytes(text.data(), static_cast<std::size_t>(text.size()));
    if (isAscii(bytes.data(), bytes.size())) {
        m_view = bytes;
        return;
    }
    m_long = QString(text).toStdString();
    m_view = m_long;
}

NodeName::NodeName(QStringView text)
{
    if (text.size() <= qsizetype(sInlineSize) && isAscii(text)) [[likely]] {
        writeAscii(m_inline.data(), text);
        m_view = std::string_view(m_inline.data(), static_cast<std::size_t>(text.size()));
        return;
    }
    const std::size_t size = utf8Size(text);
    char *out = m_inline.data();
    if (size > sInlineSize) {
        m_long.resize(size);
        out = m_long.data();
    }
    writeUtf8(out, text);
    m_view = std::string_view(out, size);
}

} // namespace Tesk::Data::Serialization
