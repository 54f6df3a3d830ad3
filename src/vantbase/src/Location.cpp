#include <vantbase/Location.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace Tesk::VantBase {

namespace {

/// Finds the function's name in what __PRETTY_FUNCTION__ gives, in one pass from the left.
///
/// A blank, '*' or '&' outside brackets ends a part of the return type: the name starts anew.
/// The first parameter list that no "::" follows ends it.
class SignatureReader
{
public:
    explicit SignatureReader(std::string_view signature)
        : m_rest(signature)
    {}

    std::string functionName()
    {
        while (!m_rest.empty() && !m_finished)
            readPiece();
        return m_name;
    }

private:
    void readPiece()
    {
        if (atComponentStart() && readUnnamedComponent())
            return;
        switch (m_rest.front()) {
        case ' ':
            skip(1);
            if (isTypeOperator(m_name) && m_rest.starts_with('('))
                skipBrackets(); // "decltype (x)" as the return type
            m_name.clear();
            break;
        case '*':
        case '&':
            skip(1);
            m_name.clear();
            break;
        case '(':
            readParenthesis();
            break;
        case '<': // template arguments
        case '[': // an ABI tag
            skipBrackets();
            break;
        case 'o':
            if (!readOperator())
                takeOne();
            break;
        default:
            takeOne();
        }
    }

    bool atComponentStart() const { return m_name.empty() || m_name.ends_with("::"); }

    bool readUnnamedComponent()
    {
        return replace("{anonymous}", "(anonymous namespace)")
               || replace("(anonymous namespace)", "(anonymous namespace)")
               || replace("(anonymous class)::operator()", "<lambda>") || readLambda();
    }

    /// GCC's lambda carries its parameters in its name and has no parameter list of its own.
    bool readLambda()
    {
        if (!m_rest.starts_with("<lambda("))
            return false;
        skipBrackets();
        m_name += "<lambda>";
        m_finished = !continuesAfterQualifiers();
        return true;
    }

    bool replace(std::string_view found, std::string_view name)
    {
        if (!m_rest.starts_with(found))
            return false;
        skip(found.size());
        m_name += name;
        return true;
    }

    void readParenthesis()
    {
        if (m_name.empty()) {
            skip(1); // "void (*f(int))(char)": the name stands inside
        } else if (isTypeOperator(m_name)) {
            skipBrackets();
        } else {
            skipBrackets();
            m_finished = !continuesAfterQualifiers();
        }
    }

    /// After a parameter list: drops " const", "[with T = int]" and the like before a "::".
    bool continuesAfterQualifiers()
    {
        static constexpr std::array<std::string_view, 6> sQualifiers = {
                " const", " volatile", " &&", " &", " noexcept", " mutable"};
        for (bool dropped = true; dropped;) {
            dropped = std::ranges::any_of(sQualifiers, [this](std::string_view qualifier) {
                return replace(qualifier, {});
            });
            if (m_rest.starts_with(" [")) {
                skip(1);
                skipBrackets();
                dropped = true;
            }
        }
        return m_rest.starts_with("::");
    }

    bool readOperator()
    {
        static constexpr std::string_view sOperator = "operator";
        if (!atComponentStart() || !m_rest.starts_with(sOperator)
            || (m_rest.size() > sOperator.size() && isNameCharacter(m_rest[sOperator.size()])))
            return false;
        take(sOperator.size());
        const auto symbol = operatorSymbol(m_rest);
        if (!symbol.empty()) {
            take(symbol.size());
            if (m_rest.starts_with(" <") || m_rest.starts_with(" []"))
                skip(1); // "operator<< <int>", "operator new []"
            if (m_rest.starts_with("[]"))
                take(2);
        } else if (m_rest.starts_with("\"\"")) {
            takeUntil(m_rest.find('('));
        } else {
            readConversion();
        }
        return true;
    }

    /// "operator bool() const": takes all up to the parameters.
    void readConversion()
    {
        while (!m_rest.empty()) {
            if (m_rest.front() == '<' || m_rest.starts_with("[abi:")) {
                skipBrackets();
            } else if (m_rest.front() == '(' && !m_rest.starts_with("(*")
                       && !m_rest.starts_with("(&") && !m_rest.starts_with("(anonymous")) {
                return;
            } else if (m_rest.front() == '(') {
                const auto size = bracketsSize();
                take(size);
                if (m_rest.starts_with('('))
                    take(bracketsSize());
            } else {
                takeOne();
            }
        }
    }

    static std::string_view operatorSymbol(std::string_view text)
    {
        // The longer first, where one begins another.
        static constexpr std::array<std::string_view, 41> sSymbols = {
                "()", "[]", "<=>", "<<=", ">>=", "->*", "->",   "<<",     ">>", "<=", ">=",
                "==", "!=", "&&",  "||",  "++",  "--",  "+=",   "-=",     "*=", "/=", "%=",
                "^=", "&=", "|=",  "+",   "-",   "*",   "/",    "%",      "^",  "&",  "|",
                "~",  "!",  "=",   "<",   ">",   ",",   " new", " delete"};
        const auto found = std::ranges::find_if(
                sSymbols, [text](std::string_view symbol) { return text.starts_with(symbol); });
        return found == sSymbols.end() ? std::string_view() : text.substr(0, found->size());
    }

    static bool isTypeOperator(std::string_view name)
    {
        return name == "decltype" || name == "noexcept" || name == "__attribute__";
    }

    static bool isNameCharacter(char character)
    {
        return std::isalnum(static_cast<unsigned char>(character)) || character == '_';
    }

    /// Returns the size of the bracketed text that the rest starts with.
    std::size_t bracketsSize() const
    {
        std::string closers; // of the brackets that are open, the innermost last
        for (std::size_t at = 0; at < m_rest.size(); ++at) {
            const char character = m_rest[at];
            const bool inAngles = closers.empty() || closers.back() == '>';
            if (character == '(') {
                closers += ')';
            } else if (character == '[') {
                closers += ']';
            } else if (character == '{') {
                closers += '}';
            } else if (character == '<' && (inAngles || startsTemplate(at))) {
                closers += '>';
            } else if (character == '\'' || character == '"') {
                at = endOfQuoted(at);
            } else if (!closers.empty() && character == closers.back()
                       && !(character == '>' && m_rest[at - 1] == '-')) {
                closers.pop_back();
                if (closers.empty())
                    return at + 1;
            }
        }
        return m_rest.size();
    }

    /// Inside parentheses a '<' may also compare; behind a blank it does.
    bool startsTemplate(std::size_t at) const
    {
        return at > 0 && (isNameCharacter(m_rest[at - 1]) || m_rest.substr(at).starts_with("<lam"));
    }

    std::size_t endOfQuoted(std::size_t at) const
    {
        const char quote = m_rest[at];
        for (++at; at < m_rest.size() && m_rest[at] != quote; ++at) {
            if (m_rest[at] == '\\')
                ++at;
        }
        return at;
    }

    void skipBrackets() { skip(bracketsSize()); }
    void skip(std::size_t count) { m_rest.remove_prefix(std::min(count, m_rest.size())); }
    void takeOne() { take(1); }
    void takeUntil(std::size_t end) { take(std::min(end, m_rest.size())); }

    void take(std::size_t count)
    {
        m_name += m_rest.substr(0, count);
        skip(count);
    }

    std::string_view m_rest;
    std::string m_name;
    bool m_finished = false;
};

} // namespace

std::string functionNameOf(std::string_view signature)
{
    return SignatureReader(signature).functionName();
}

std::string placeText(std::string_view path, int line, std::string_view signature)
{
    std::string place(fileNameOf(path));
    place += ':';
    place += std::to_string(line);
    place += ' ';
    place += functionNameOf(signature);
    place += "()";
    return place;
}

} // namespace Tesk::VantBase
