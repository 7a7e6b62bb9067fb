#include "platform/update/SigningKey.h"

#include "platform/ComposedText.h"
#include "platform/Error.h"
#include "platform/MappedFile.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sodium.h>

#include <cerrno>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

unsigned char *bytesOf(QByteArray &array)
{
    return reinterpret_cast<unsigned char *>(array.data());
}

const unsigned char *bytesOf(QByteArrayView view)
{
    return reinterpret_cast<const unsigned char *>(view.data());
}

QJsonObject entryOf(const UpdateRelease &release)
{
    QJsonObject notes;
    for (auto note = release.notes.begin(); note != release.notes.end(); ++note)
        notes.insert(note.key(), note.value());
    QJsonObject entry{
        {u"version"_s, release.version.toString()},
        {u"notes"_s, notes},
        {u"archive"_s, QJsonObject{{u"url"_s, release.archive.toString()},
                                   {u"length"_s, release.lengthBytes},
                                   {u"sha256"_s, QString::fromLatin1(release.sha256.toHex())},
                                   {u"signature"_s, QString::fromLatin1(release.signature.toBase64())}}}};
    if (!release.minimumSystem.isNull())
        entry.insert(u"minimumSystem"_s, release.minimumSystem.toString());
    return entry;
}

} // namespace

SigningKey SigningKey::generate()
{
    QByteArray publicBytes(crypto_sign_PUBLICKEYBYTES, '\0');
    QByteArray secret(crypto_sign_SECRETKEYBYTES, '\0');
    if (sodium_init() < 0 || crypto_sign_keypair(bytesOf(publicBytes), bytesOf(secret)) != 0)
        throw Error(composed(u"Erreur inattendue : {0}"_s, {u"libsodium"_s}));
    return SigningKey(secret);
}

std::optional<SigningKey> SigningKey::fromBase64(const QByteArray &text)
{
    const auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != crypto_sign_SECRETKEYBYTES || sodium_init() < 0)
        return std::nullopt;
    return SigningKey(decoded.decoded);
}

QString SigningKey::publicBase64() const
{
    QByteArray publicBytes(crypto_sign_PUBLICKEYBYTES, '\0');
    crypto_sign_ed25519_sk_to_pk(bytesOf(publicBytes), bytesOf(QByteArrayView(m_secret)));
    return QString::fromLatin1(publicBytes.toBase64());
}

QByteArray SigningKey::sign(QByteArrayView message) const
{
    QByteArray signature(crypto_sign_BYTES, '\0');
    crypto_sign_detached(bytesOf(signature), nullptr, bytesOf(message),
                         static_cast<unsigned long long>(message.size()), bytesOf(QByteArrayView(m_secret)));
    return signature;
}

void describeArchive(UpdateRelease &release, const std::filesystem::path &archive, const SigningKey &key)
{
    const std::optional<MappedFile> file = MappedFile::open(archive);
    if (!file)
        throw FileError(ENOENT, archive);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(file->bytes());
    release.lengthBytes = file->bytes().size();
    release.sha256 = hash.result();
    release.signature = key.sign(file->bytes());
}

QByteArray signedFeed(const std::vector<UpdateRelease> &releases, const SigningKey &key)
{
    QJsonArray entries;
    for (const UpdateRelease &release : releases)
        entries.append(entryOf(release));
    const QByteArray content = QJsonDocument(QJsonObject{{u"releases"_s, entries}}).toJson();
    return "quorvalent-feed-1 " + key.sign(content).toBase64() + '\n' + content;
}

} // namespace quorvalent
