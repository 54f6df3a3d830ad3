#include <vantbase/Location.h>

#include <support/RecordedLog.h>

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

namespace Tesk::LocationTesting {

using TestSupport::lineOf;
using TestSupport::placeIs;

static std::string freeFunction(int)
{
    return TESK_HERE;
}

namespace {

std::string hiddenFunction()
{
    return TESK_HERE;
}

} // namespace

using Callback = std::string (*)(int);

static std::string (*sSeen)(int) = nullptr;
static std::string sPlace;

static std::string (*returnsFunctionPointer(char))(int)
{
    sPlace = TESK_HERE;
    return sSeen;
}

static decltype(auto) returnsDeduced()
{
    return TESK_HERE;
}

static auto returnsTrailing(const std::string &text) -> decltype(text.size())
{
    sPlace = TESK_HERE;
    return text.size();
}

static const std::string &returnsReference()
{
    sPlace = TESK_HERE;
    return sPlace;
}

static std::function<std::string(int, std::vector<int>)> returnsFunctionObject()
{
    sPlace = TESK_HERE;
    return {};
}

template<class T>
std::string functionTemplate(T)
{
    return TESK_HERE;
}

template<int Number, char Character>
std::string valueTemplate()
{
    return TESK_HERE;
}

class Subject
{
public:
    Subject() { sPlace = TESK_HERE; }
    ~Subject() { sPlace = TESK_HERE; }
    Subject(const Subject &) = delete;
    Subject &operator=(const Subject &) = delete;

    std::string member() { return TESK_HERE; }
    std::string constMember() const { return TESK_HERE; }
    std::string lvalueMember() const & { return TESK_HERE; }
    std::string rvalueMember() &&noexcept { return TESK_HERE; }
    static std::string staticMember() { return TESK_HERE; }
    virtual std::string virtualMember(const std::vector<std::string> &) { return TESK_HERE; }
    std::string operatorNamed() { return TESK_HERE; } // begins like an operator
    std::string operator()(int) const { return TESK_HERE; }
    std::string operator[](int) const { return TESK_HERE; }
    std::string operator<(int) const { return TESK_HERE; }
    std::string operator<<(int) const { return TESK_HERE; }
    std::string operator->*(int) const { return TESK_HERE; }
    explicit operator bool() const
    {
        sPlace = TESK_HERE;
        return true;
    }
    explicit operator const std::string *() const
    {
        sPlace = TESK_HERE;
        return nullptr;
    }

    template<class T>
    std::string operator>(T) const
    {
        return TESK_HERE;
    }

    std::string lambdaInside(int) const
    {
        const auto nested = [](const std::vector<int> &) {
            return TESK_HERE;
        };
        return nested({});
    }
};

template<class T>
class Box
{
public:
    struct Inner
    {
        template<class U>
        std::string nested(U, T)
        {
            return TESK_HERE;
        }
    };

    Box() { sPlace = TESK_HERE; }

    std::string member(T) const { return TESK_HERE; }
};

} // namespace Tesk::LocationTesting

static std::string topLevelFunction()
{
    return TESK_HERE;
}

namespace Tesk::LocationTesting {

#define EXPECT_NAMED(place, function)                                                              \
    EXPECT_THAT(place, placeIs("LocationTest.cpp", "Tesk::LocationTesting::" function "()"))

TEST(LocationTest, namesAFreeFunctionWithFileAndLine)
{
    const int line = __LINE__;
    const std::string place = TESK_HERE;

    EXPECT_EQ(lineOf(place), line + 1);
    EXPECT_NAMED(freeFunction(1), "freeFunction");
    EXPECT_THAT(topLevelFunction(), placeIs("LocationTest.cpp", "topLevelFunction()"));
}

TEST(LocationTest, givesTwoSitesInOneFunctionTheirOwnLines)
{
    const std::string first = TESK_HERE;
    const std::string second = TESK_HERE;

    EXPECT_EQ(lineOf(second), lineOf(first) + 1);
    EXPECT_EQ(first.substr(first.find(' ')), second.substr(second.find(' ')));
}

TEST(LocationTest, namesFunctionsInAnonymousNamespaces)
{
    EXPECT_NAMED(hiddenFunction(), "(anonymous namespace)::hiddenFunction");
}

TEST(LocationTest, leavesOutReturnTypesOfEveryForm)
{
    returnsFunctionPointer('a');
    EXPECT_NAMED(sPlace, "returnsFunctionPointer");
    EXPECT_NAMED(returnsDeduced(), "returnsDeduced");
    returnsTrailing("text");
    EXPECT_NAMED(sPlace, "returnsTrailing");
    EXPECT_NAMED(returnsReference(), "returnsReference");
    returnsFunctionObject();
    EXPECT_NAMED(sPlace, "returnsFunctionObject");
}

TEST(LocationTest, leavesOutTemplateArguments)
{
    EXPECT_NAMED(functionTemplate(1), "functionTemplate");
    EXPECT_NAMED(functionTemplate(std::vector<std::string>()), "functionTemplate");
    EXPECT_NAMED((functionTemplate<std::string (*)(int)>(nullptr)), "functionTemplate");
    EXPECT_NAMED((valueTemplate<3, '>'>()), "valueTemplate");
    EXPECT_NAMED((valueTemplate<-3, '\''>()), "valueTemplate");
    EXPECT_NAMED(Box<std::vector<int>>().member({}), "Box::member");
    EXPECT_NAMED((Box<std::string (*)(int)>::Inner().nested(1, nullptr)), "Box::Inner::nested");
}

TEST(LocationTest, namesMembersWithoutTheirQualifiers)
{
    Subject subject;
    EXPECT_NAMED(subject.member(), "Subject::member");
    EXPECT_NAMED(subject.constMember(), "Subject::constMember");
    EXPECT_NAMED(subject.lvalueMember(), "Subject::lvalueMember");
    EXPECT_NAMED(Subject().rvalueMember(), "Subject::rvalueMember");
    EXPECT_NAMED(Subject::staticMember(), "Subject::staticMember");
    EXPECT_NAMED(subject.virtualMember({}), "Subject::virtualMember");
    EXPECT_NAMED(subject.operatorNamed(), "Subject::operatorNamed");
}

TEST(LocationTest, namesConstructorsAndDestructors)
{
    {
        const Subject subject;
        EXPECT_NAMED(sPlace, "Subject::Subject");
    }
    EXPECT_NAMED(sPlace, "Subject::~Subject");
    const Box<std::vector<std::string>> box;
    EXPECT_NAMED(sPlace, "Box::Box");
}

TEST(LocationTest, namesOperators)
{
    const Subject subject;
    EXPECT_NAMED(subject(1), "Subject::operator()");
    EXPECT_NAMED(subject[1], "Subject::operator[]");
    EXPECT_NAMED(subject < 1, "Subject::operator<");
    EXPECT_NAMED(subject << 1, "Subject::operator<<");
    EXPECT_NAMED(subject->*1, "Subject::operator->*");
    EXPECT_NAMED(subject > std::vector<int>(), "Subject::operator>");
    EXPECT_TRUE(static_cast<bool>(subject));
    EXPECT_NAMED(sPlace, "Subject::operator bool");
    EXPECT_EQ(static_cast<const std::string *>(subject), nullptr);
    EXPECT_THAT(sPlace, testing::HasSubstr(" Tesk::LocationTesting::Subject::operator const "));
}

TEST(LocationTest, namesALambdaAfterTheFunctionAroundIt)
{
    const auto generic = [](auto value) {
        const auto inner = [&value] {
            return static_cast<void>(value), TESK_HERE;
        };
        return inner();
    };
    auto changing = [count = 0](int) mutable {
        return ++count, TESK_HERE;
    };

    EXPECT_NAMED(Subject().lambdaInside(1), "Subject::lambdaInside::<lambda>");
    EXPECT_THAT(generic(std::vector<int>()), testing::EndsWith("::TestBody::<lambda>::<lambda>()"));
    EXPECT_THAT(changing(1), testing::EndsWith("_Test::TestBody::<lambda>()"));
}

TEST(LocationTest, namesALocalClassAfterTheFunctionAroundIt)
{
    struct Local
    {
        static std::string member(int) { return TESK_HERE; }
    };

    EXPECT_THAT(Local::member(1), testing::EndsWith("_Test::TestBody::Local::member()"));
}

TEST(LocationTest, readsSignaturesAsTheCompilersPrintThem)
{
    using VantBase::functionNameOf;
    EXPECT_EQ(functionNameOf("int main(int, char**)"), "main");
    EXPECT_EQ(functionNameOf("void (* Tesk::pick(int))(char)"), "Tesk::pick");
    EXPECT_EQ(functionNameOf("int (& Tesk::field())[3]"), "Tesk::field");
    EXPECT_EQ(functionNameOf("decltype (text.size()) Tesk::size(const T&) [with T = int]"),
              "Tesk::size");
    EXPECT_EQ(functionNameOf("static decltype(auto) Tesk::C<T>::f() [T = A<(1 > 0)>]"),
              "Tesk::C::f");
    EXPECT_EQ(functionNameOf("std::string Tesk::text[abi:cxx11]()"), "Tesk::text");
    EXPECT_EQ(functionNameOf("Tesk::f(T)::<lambda(int)> [with T = int]"), "Tesk::f::<lambda>");
    EXPECT_EQ(functionNameOf("Tesk::C::f() const::<lambda(int)>"), "Tesk::C::f::<lambda>");
    EXPECT_EQ(functionNameOf("auto Tesk::f()::(anonymous class)::operator()(int) const"),
              "Tesk::f::<lambda>");
    EXPECT_EQ(functionNameOf("Tesk::C::operator std::vector<int>() const"),
              "Tesk::C::operator std::vector");
    EXPECT_EQ(functionNameOf("void* Tesk::C::operator new [](std::size_t)"),
              "Tesk::C::operator new[]");
    EXPECT_EQ(functionNameOf("int Tesk::operator\"\"_px(unsigned long long)"),
              "Tesk::operator\"\"_px");
    EXPECT_EQ(functionNameOf("top level"), "level");
    EXPECT_EQ(functionNameOf(""), "");
}

TEST(LocationTest, survivesSignaturesThatEndTooEarly)
{
    using VantBase::functionNameOf;
    const std::string whole = "void (* Tesk::C<A<(1 > 0)>, '\\''>::operator()(int) const::f"
                              "<lambda(std::vector<int>)>)(char) [with T = \"x\\\"\"]";
    for (std::size_t size = 0; size <= whole.size(); ++size)
        EXPECT_LE(functionNameOf(std::string_view(whole).substr(0, size)).size(), size);
}

TEST(LocationTest, keepsOfAPathWhatFollowsTheLastSeparatorOfEitherKind)
{
    using VantBase::placeText;
    EXPECT_EQ(placeText("/a/b/File.cpp", 12, "void Tesk::f(int)"), "File.cpp:12 Tesk::f()");
    EXPECT_EQ(placeText("C:\\a\\File.cpp", 1, "void f()"), "File.cpp:1 f()");
    EXPECT_EQ(placeText("/a\\b/c\\File.cpp", 1, "void f()"), "File.cpp:1 f()");
    EXPECT_EQ(placeText("C:\\a/File.cpp", 1, "void f()"), "File.cpp:1 f()");
}

TEST(LocationTest, usesAPathWithoutSeparatorWhole)
{
    EXPECT_EQ(VantBase::placeText("File.cpp", 7, "void Tesk::f()"), "File.cpp:7 Tesk::f()");
}

} // namespace Tesk::LocationTesting
