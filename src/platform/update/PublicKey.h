#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

namespace quorvalent {

/// An Ed25519 key that tells whether a document was signed by the holder of its secret half. A value; any
/// thread.
class PublicKey
{
public:
    /// The key in Base64, as the bundle's information holds it; nothing unless it is one of 32 bytes.
    [[nodiscard]] static std::optional<PublicKey> fromBase64(const QString &text);

    /// `signature` is 64 bytes; any other length is simply not a signature.
    [[nodiscard]] bool verifies(QByteArrayView message, const QByteArray &signature) const;

private:
    explicit PublicKey(QByteArray bytes)
        : m_bytes(std::move(bytes))
    {}

    QByteArray m_bytes;
};

} // namespace quorvalent
