#pragma once

#include <assets/assets_export.h>

#include <vantbase/Exception.h>

#include <QByteArray>
#include <QString>

#include <string>

namespace Tesk::Assets {

/// Raised where a store cannot do what it was asked; the message says what, why and the remedy.
///
/// Nothing of the call that raised it is stored.
class ASSETS_EXPORT StoreError : public Exception::BaseException
{
public:
    enum class Code {
        CannotOpen,   ///< no such path, a directory, no permission
        NotADatabase, ///< something else, or the database of another program
        NewerSchema,  ///< written by a newer version
        ReadOnly,     ///< a write to what may only be read
        Full,         ///< the disk is full
        Busy,         ///< somebody else writes, and did not end in time
        Damaged,      ///< the content contradicts itself
        Io,           ///< the system failed to read or write
        OutOfMemory,
        Changed,      ///< changed by someone else meanwhile
        VersionCycle, ///< a next version that leads back
        NoSuchAsset,  ///< a write to an asset that is not there
        Misuse,       ///< the caller's mistake: an empty id, a begin after a begin
    };

    StoreError(Code code, const QString &message, const QByteArray &assetId = {});
    StoreError(const StoreError &) = default;
    StoreError(StoreError &&) = default;
    StoreError &operator=(const StoreError &) = default;
    StoreError &operator=(StoreError &&) = default;
    ~StoreError() override;

    Code code() const { return m_code; }

    /// The asset concerned; empty when it is the store itself.
    const QByteArray &assetId() const { return m_assetId; }

private:
    Code m_code;
    QByteArray m_assetId;
};

/// Logs the error at the level "error", then throws it.
[[noreturn]] ASSETS_EXPORT void raiseStoreError(const std::string &place, StoreError::Code code,
                                                const QString &message,
                                                const QByteArray &assetId = {});

} // namespace Tesk::Assets
