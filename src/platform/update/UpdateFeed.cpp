#include "platform/update/UpdateFeed.h"

#include "platform/update/UpdateError.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gnu/libc-version.h>

#include <algorithm>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr QByteArrayView formatName = "quorvalent-feed-1";
constexpr qsizetype sha256Bytes = 32;
constexpr qsizetype signatureBytes = 64;

UpdateError invalid()
{
    return {UpdateError::Kind::BadFeed, u"La réponse du serveur de mises à jour n’est pas valide."_s};
}

QByteArray decoded(const QByteArray &base64)
{
    const auto result = QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
    return result ? *result : QByteArray();
}

// A version is written in full with numbers and dots, so that no two versions read alike.
QVersionNumber versionOf(const QJsonValue &value)
{
    const QString text = value.toString();
    QVersionNumber version = QVersionNumber::fromString(text);
    if (version.isNull() || version.toString() != text)
        throw invalid();
    return version;
}

QMap<QString, QString> notesOf(const QJsonObject &notes)
{
    QMap<QString, QString> result;
    for (auto note = notes.begin(); note != notes.end(); ++note)
        result.insert(note.key(), note.value().toString());
    return result;
}

UpdateRelease releaseOf(const QJsonObject &entry, const QUrl &address)
{
    const QJsonObject archive = entry["archive"_L1].toObject();
    UpdateRelease release;
    release.version = versionOf(entry["version"_L1]);
    if (entry.contains("minimumSystem"_L1))
        release.minimumSystem = versionOf(entry["minimumSystem"_L1]);
    release.notes = notesOf(entry["notes"_L1].toObject());
    release.archive = address.resolved(QUrl(archive["url"_L1].toString(), QUrl::StrictMode));
    release.lengthBytes = archive["length"_L1].toInteger();
    release.sha256 = QByteArray::fromHex(archive["sha256"_L1].toString().toLatin1());
    release.signature = decoded(archive["signature"_L1].toString().toLatin1());
    if (!release.archive.isValid() || release.archive.fileName().isEmpty() || release.lengthBytes <= 0 ||
        release.lengthBytes > UpdateFeed::largestArchiveBytes || release.sha256.size() != sha256Bytes ||
        release.signature.size() != signatureBytes)
        throw invalid();
    return release;
}

} // namespace

QString UpdateRelease::notesIn(const QString &languageCode) const
{
    if (notes.isEmpty())
        return {};
    return notes.value(languageCode, notes.value(u"en"_s, notes.first()));
}

UpdateFeed UpdateFeed::read(const QByteArray &document, const PublicKey &key, const QUrl &address)
{
    // "quorvalent-feed-1 SIGNATURE\n" and then the signed bytes themselves, so that there is one spelling
    // only.
    const qsizetype lineEnd = document.indexOf('\n');
    const QList<QByteArray> words = document.left(lineEnd).split(' ');
    if (lineEnd < 0 || document.size() > largestFeedBytes || words.size() != 2 || words[0] != formatName)
        throw invalid();
    const QByteArray content = document.mid(lineEnd + 1);
    if (!key.verifies(content, decoded(words[1])))
        throw UpdateError(UpdateError::Kind::BadFeed,
                          u"La signature de la liste des versions n’est pas valide."_s);

    const QJsonDocument json = QJsonDocument::fromJson(content);
    if (!json.isObject() || !json["releases"_L1].isArray())
        throw invalid();
    UpdateFeed feed;
    const QJsonArray releases = json["releases"_L1].toArray();
    for (const auto &entry : releases)
        feed.releases.push_back(releaseOf(entry.toObject(), address));
    return feed;
}

std::optional<UpdateRelease> UpdateFeed::newest(const QVersionNumber &installed, const QVersionNumber &system,
                                                const QVersionNumber &skipped) const
{
    std::optional<UpdateRelease> best;
    for (const UpdateRelease &release : releases) {
        // 2.0 and 2 are one version.
        if (release.version.normalized() <= installed.normalized() || release.minimumSystem > system ||
            release.version == skipped)
            continue;
        if (!best || release.version > best->version)
            best = release;
    }
    return best;
}

QVersionNumber systemVersion()
{
    return QVersionNumber::fromString(QString::fromLatin1(gnu_get_libc_version()));
}

} // namespace quorvalent
