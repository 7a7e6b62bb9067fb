// quorvalent-publish: makes and signs the list of versions that the updater reads. docs/updates.md describes
// it.

#include "platform/Error.h"
#include "platform/update/SigningKey.h"
#include "platform/update/UpdateError.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

using namespace quorvalent;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

constexpr int badUsage = 2;

constexpr const char *usage = R"(Usage: quorvalent-publish key FILE
       quorvalent-publish feed KEY RELEASES.json ARCHIVES-FOLDER

key   writes a new secret key to FILE, which must not exist, and prints the public key
feed  reads the versions from RELEASES.json, signs their archives and prints the signed list
)";

QByteArray contentOf(const fs::path &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(path.native() + ": " + file.errorString().toStdString());
    return file.readAll();
}

void makeKey(const fs::path &path)
{
    const SigningKey key = SigningKey::generate();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly,
                   QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        throw std::runtime_error(path.native() + ": " + file.errorString().toStdString());
    if (file.write(key.secretBase64() + '\n') < 0 || !file.flush())
        throw std::runtime_error(path.native() + ": " + file.errorString().toStdString());
    std::puts(qPrintable(key.publicBase64()));
}

UpdateRelease releaseOf(const QJsonObject &entry, const fs::path &archives, const SigningKey &key)
{
    UpdateRelease release;
    release.version = QVersionNumber::fromString(entry["version"_L1].toString());
    release.minimumSystem = QVersionNumber::fromString(entry["minimumSystem"_L1].toString());
    const QJsonObject notes = entry["notes"_L1].toObject();
    for (auto note = notes.begin(); note != notes.end(); ++note)
        release.notes.insert(note.key(), note.value().toString());
    release.archive = QUrl(entry["archive"_L1].toString());
    describeArchive(release, archives / release.archive.fileName().toStdString(), key);
    return release;
}

void makeFeed(const fs::path &keyFile, const fs::path &releasesFile, const fs::path &archives)
{
    const std::optional<SigningKey> key = SigningKey::fromBase64(contentOf(keyFile).trimmed());
    if (!key)
        throw std::runtime_error(keyFile.native() + ": no secret key");
    const QJsonDocument list = QJsonDocument::fromJson(contentOf(releasesFile));
    if (!list.isArray())
        throw std::runtime_error(releasesFile.native() + ": no list of versions");
    std::vector<UpdateRelease> releases;
    const QJsonArray entries = list.array();
    for (const auto &entry : entries)
        releases.push_back(releaseOf(entry.toObject(), archives, *key));
    const QByteArray feed = signedFeed(releases, *key);
    // What the updater would refuse must not be published.
    (void)UpdateFeed::read(feed, key->publicKey(), QUrl(u"https://localhost/feed"_s));
    if (std::fwrite(feed.constData(), 1, static_cast<std::size_t>(feed.size()), stdout) !=
            static_cast<std::size_t>(feed.size()) ||
        std::fflush(stdout) != 0)
        throw std::runtime_error("standard output: not written");
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    try {
        if (words.size() == 2 && words[0] == "key") {
            makeKey(words[1]);
        } else if (words.size() == 4 && words[0] == "feed") {
            makeFeed(words[1], words[2], words[3]);
        } else {
            std::fputs(usage, stderr);
            return badUsage;
        }
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "quorvalent-publish: %s\n", failure.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
