#include <support/DeferredDeletes.h>

#include <gmock/gmock.h>

#include <QCoreApplication>

// One application object for all tests of a program; the tests run on its thread.
int main(int argumentCount, char **arguments)
{
    QCoreApplication application(argumentCount, arguments);
    testing::InitGoogleMock(&argumentCount, arguments);
    const int result = RUN_ALL_TESTS();
    Tesk::TestSupport::drainDeferredDeletes(); // else leak checkers report what is pending
    return result;
}
