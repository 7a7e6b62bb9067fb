#include "platform/update/PublicKey.h"

#include <sodium.h>

namespace quorvalent {

namespace {

const unsigned char *bytesOf(QByteArrayView view)
{
    return reinterpret_cast<const unsigned char *>(view.data());
}

} // namespace

std::optional<PublicKey> PublicKey::fromBase64(const QString &text)
{
    const auto decoded =
        QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != crypto_sign_PUBLICKEYBYTES)
        return std::nullopt;
    return PublicKey(decoded.decoded);
}

bool PublicKey::verifies(QByteArrayView message, const QByteArray &signature) const
{
    return signature.size() == crypto_sign_BYTES && sodium_init() >= 0 &&
           crypto_sign_verify_detached(bytesOf(signature), bytesOf(message),
                                       static_cast<unsigned long long>(message.size()),
                                       bytesOf(m_bytes)) == 0;
}

} // namespace quorvalent
