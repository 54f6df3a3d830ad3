#pragma once

#include "../support/StoreSource.h"

#include <assets/Store.h>
#include <assets/StoreError.h>

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

namespace Tesk::Assets {

/// What every store must do; each test runs for each kind.
class StoreTest : public testing::TestWithParam<StoreKind>
{
protected:
    StoreTest();
    ~StoreTest() override;

    /// Opens a second store on the same content, as another process would.
    std::unique_ptr<Store> openAnother() { return m_source->open(); }
    Store &store() { return *m_store; }

    // Short forms of the batch calls.
    qint64 put(const QByteArray &id, const QString &className = QStringLiteral("Filter"),
               const QString &name = {}, std::optional<QByteArray> body = {});
    std::optional<AssetRow> row(const QByteArray &id);
    std::optional<QByteArray> body(const QByteArray &id);
    std::vector<QByteArray> itemsOf(const QByteArray &collection);

    TestSupport::RecordedLog m_log; // errors are part of these tests: off the console
    std::unique_ptr<StoreSource> m_source;
    std::unique_ptr<Store> m_store;
};

AssetWrite assetWrite(const QByteArray &id, const QString &className = QStringLiteral("Filter"),
                      const QString &name = {}, std::optional<QByteArray> body = {});

/// Returns what \a call raises; a call that raises nothing fails the test.
template<class Call>
StoreError raisedBy(Call call)
{
    try {
        call();
    } catch (const StoreError &error) {
        return error;
    }
    ADD_FAILURE() << "no StoreError was raised";
    return {StoreError::Code::Misuse, QString()};
}

template<class Call>
StoreError::Code codeRaisedBy(Call call)
{
    return raisedBy(call).code();
}

} // namespace Tesk::Assets
