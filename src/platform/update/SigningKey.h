#pragma once

#include "platform/update/PublicKey.h"
#include "platform/update/UpdateFeed.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <filesystem>
#include <optional>
#include <vector>

namespace quorvalent {

/// The secret half of an Ed25519 key pair, which the publisher of updates keeps. A value; any thread.
class SigningKey
{
public:
    /// A new pair.
    [[nodiscard]] static SigningKey generate();
    /// The key in Base64, as secretBase64() gives it; nothing unless it is one.
    [[nodiscard]] static std::optional<SigningKey> fromBase64(const QByteArray &text);

    [[nodiscard]] QByteArray secretBase64() const { return m_secret.toBase64(); }
    [[nodiscard]] QString publicBase64() const;
    [[nodiscard]] PublicKey publicKey() const { return *PublicKey::fromBase64(publicBase64()); }

    /// 64 bytes.
    [[nodiscard]] QByteArray sign(QByteArrayView message) const;

private:
    explicit SigningKey(QByteArray secret)
        : m_secret(std::move(secret))
    {}

    QByteArray m_secret; ///< 64 bytes: the seed and the public key
};

/// Fills in what follows from the archive itself: its length, checksum and signature. Throws FileError.
void describeArchive(UpdateRelease &release, const std::filesystem::path &archive, const SigningKey &key);

/// The document that UpdateFeed::read() reads.
[[nodiscard]] QByteArray signedFeed(const std::vector<UpdateRelease> &releases, const SigningKey &key);

} // namespace quorvalent
