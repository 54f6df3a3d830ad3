#include "RegistryTest.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>

#include <support/Printers.h>

#include <cstddef>

// The C library's own; operator new and Qt's containers come by malloc().
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void *__libc_memalign(std::size_t align, std::size_t size);
}

static thread_local int sAllocations = 0;

extern "C" void *malloc(std::size_t size)
{
    ++sAllocations;
    return __libc_malloc(size);
}

extern "C" void *calloc(std::size_t count, std::size_t size)
{
    ++sAllocations;
    return __libc_calloc(count, size);
}

extern "C" void *realloc(void *memory, std::size_t size)
{
    ++sAllocations;
    return __libc_realloc(memory, size);
}

extern "C" void *aligned_alloc(std::size_t align, std::size_t size)
{
    ++sAllocations;
    return __libc_memalign(align, size);
}

namespace FilterBaseTesting {

class FilterManagerAllocationTest : public RegistryTest
{
protected:
    FilterManagerAllocationTest() { startManager(); }

    /// How often finding the name allocates, the very first time.
    int allocationsFor(const QString &name)
    {
        const int before = sAllocations;
        found = manager().getDynamicFilter(name);
        return sAllocations - before;
    }

    AssetReference found;
};

TEST_F(FilterManagerAllocationTest, findsANameInAnyLetterCaseWithoutAnAllocation)
{
    const QString name = QStringLiteral("Slope Blur Grayscale");
    const auto filter = importOne(implementation("impl", name, "default_color"));
    const QString mixed = QStringLiteral("sLOPE bLUR gRAYSCALE");

    EXPECT_EQ(allocationsFor(mixed), 0);
    EXPECT_EQ(found, filter);
    EXPECT_EQ(allocationsFor(name), 0);
    EXPECT_EQ(found, filter);
}

TEST_F(FilterManagerAllocationTest, missesAnAsciiNameWithoutAnAllocation)
{
    EXPECT_EQ(allocationsFor(QStringLiteral("nOBODY")), 0);
    EXPECT_TRUE(found.isInvalid());
}

// Shows that the counter counts.
TEST_F(FilterManagerAllocationTest, allocatesForANameThatIsNotAscii)
{
    EXPECT_GT(allocationsFor(QStringLiteral("\u00c4TZEN")), 0);
}

} // namespace FilterBaseTesting
