#include "watch/RenameTracker.h"

#include "core/SetAsideNames.h"
#include "platform/ComposedText.h"
#include "platform/Error.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

// How often a name whose attributes cannot be read is looked at, a quiet time apart; told at the second.
constexpr int mostLooks = 6;

QString identityOf(const FoundFile &file)
{
    return FileStamp::identityOf(file.device, file.inode);
}

NamedPlace placeOf(const fs::path &path)
{
    return {path.parent_path().native(), path.filename().native()};
}

bool isInside(const std::string &path, const std::string &folder)
{
    return path == folder ||
           (path.starts_with(folder) && (folder.ends_with('/') || path[folder.size()] == '/'));
}

/// The entries, by place, of a folder and all below it.
template <typename Map>
std::vector<typename Map::iterator> inside(Map &map, const std::string &folder)
{
    std::vector<typename Map::iterator> found;
    for (auto at = map.lower_bound({folder, {}}); at != map.end() && at->first.folder == folder; ++at)
        found.push_back(at);
    const std::string below = folder.ends_with('/') ? folder : folder + '/';
    for (auto at = map.lower_bound({below, {}}); at != map.end() && at->first.folder.starts_with(below); ++at)
        found.push_back(at);
    return found;
}

} // namespace

std::size_t RenameTracker::SameFile::operator()(const FoundFile &file) const
{
    // Inodes come in runs; the odd constant (2^64 divided by the golden ratio) spreads a run over the table.
    return (file.inode ^ std::rotl(file.device, 40)) * 0x9E3779B97F4A7C15U;
}

bool RenameTracker::SameFile::operator()(const FoundFile &left, const FoundFile &right) const
{
    return left.isSameFile(right);
}

RenameTracker::RenameTracker(std::chrono::milliseconds quiet, Handlers handlers, Look look)
    : m_quiet(quiet)
    , m_handlers(std::move(handlers))
    , m_look(std::move(look))
{}

void RenameTracker::clear()
{
    m_origins.clear();
    m_arrivals.clear();
    m_order.clear();
    m_touched.clear();
    m_written.clear();
    m_listing = {};
    // Nobody will come to know any more where the file of such a job comes to rest.
    for (const QString &identity : std::exchange(m_sought, {}))
        tell(identity, std::nullopt);
}

// What happens

void RenameTracker::take(FolderContents &&contents, bool isStart, Clock::time_point now)
{
    const std::string folder = contents.path;
    const auto placeOfFile = [&](const FoundFile &file) {
        return NamedPlace{folder, std::string(contents.nameOf(file))};
    };
    const auto arriveNow = [&](const FoundFile &file) {
        arrive(touch(placeOfFile(file), now), {FileLook::Result::File, file, {}});
    };
    for (const std::string &name : contents.unknown)
        touch({folder, name}, now);
    if (m_listing.holds(folder)) {
        std::set<std::string, std::less<>> gone;
        for (std::string &name : m_listing.namesIn(folder))
            gone.insert(std::move(name));
        for (const std::string &name : contents.unknown)
            gone.erase(name);
        for (const FoundFile &file : contents.files) {
            if (const auto name = gone.find(contents.nameOf(file)); name != gone.end())
                gone.erase(name);
            const FoundFile *known = m_listing.find(folder, contents.nameOf(file));
            if (known == nullptr || !known->isSameFile(file) || !known->hasSameContent(file))
                arriveNow(file);
        }
        for (const std::string &name : gone)
            touch({folder, name}, now);
        return;
    }
    if (!m_reported.isEmpty())
        std::ranges::for_each(contents.files,
                              [&](const FoundFile &file) { follow(file, placeOfFile(file)); });
    if (!isStart) {
        std::erase_if(contents.files, [&](const FoundFile &file) {
            if (file.isFresh)
                arriveNow(file);
            return file.isFresh;
        });
    }
    m_listing.insert(std::move(contents));
}

void RenameTracker::change(const std::string &folder, std::string_view name, NameChange change,
                           Clock::time_point now)
{
    const NamedPlace place{folder, std::string(name)};
    // A download or recording is written for hours: that alone is only remembered.
    if (change == NameChange::Written && !m_touched.contains(place)) {
        m_written[place] = now;
        return;
    }
    const Touch touched = touch(place, now);
    Touched &about = touched->second;
    about.isUntouched = change == NameChange::Arrived;
    switch (change) {
    case NameChange::Left:
        about.wasAtRest = !about.lastWritten || now - *about.lastWritten >= m_quiet;
        break;
    case NameChange::Arrived:
        about.lastWritten.reset();
        arrive(touched, m_look(folder, name));
        break;
    case NameChange::Closed:
    case NameChange::Written:
    case NameChange::Other:
        about.lastWritten = now;
        break;
    }
}

void RenameTracker::treeGone(const std::string &folder)
{
    for (const Touch touched : inside(m_touched, folder))
        forget(touched);
    for (const auto written : inside(m_written, folder))
        m_written.erase(written);
    m_listing.eraseTree(folder);
    for (const Reported &reported : std::as_const(m_reported)) {
        if (isInside(reported.job.newURL.parent_path().native(), folder) &&
            !m_arrivals.contains(reported.file))
            tell(reported.job.identity(), std::nullopt);
    }
}

void RenameTracker::treeMoved(const std::string &from, const std::string &to, Clock::time_point now)
{
    const auto moved = [&](const NamedPlace &place) {
        return NamedPlace{to + place.folder.substr(from.size()), place.name};
    };
    std::vector<std::pair<NamedPlace, Touched>> touched;
    for (const Touch former : inside(m_touched, from)) {
        touched.emplace_back(*former);
        forget(former);
    }
    m_listing.moveTree(from, to);
    for (const auto &[place, about] : touched) {
        const Touch again = touch(moved(place), now);
        again->second.lastWritten = about.lastWritten;
        again->second.wasAtRest = about.wasAtRest;
        again->second.isUntouched = about.isUntouched;
        if (about.arrival)
            arrive(again, *about.arrival);
    }
    for (const Reported &reported : m_reported.values()) {
        const NamedPlace place = placeOf(reported.job.newURL);
        if (isInside(place.folder, from))
            follow(reported.file, moved(place));
    }
}

RenameTracker::Touch RenameTracker::touch(const NamedPlace &place, Clock::time_point now)
{
    const auto [touched, isNew] = m_touched.try_emplace(place);
    Touched &about = touched->second;
    about.last = now;
    if (!isNew) {
        m_order.splice(m_order.end(), m_order, about.order);
        return touched;
    }
    about.order = m_order.insert(m_order.end(), touched);
    if (const FoundFile *known = m_listing.find(place.folder, place.name)) {
        about.origin = *known;
        m_origins.emplace(*known, touched);
    }
    if (const auto written = m_written.extract(place))
        about.lastWritten = written.mapped();
    return touched;
}

void RenameTracker::arrive(Touch touched, const FileLook &look)
{
    dropArrival(touched);
    if (look.result != FileLook::Result::File)
        return;
    touched->second.arrival = look;
    m_arrivals.emplace(look.file, touched);
}

void RenameTracker::dropArrival(Touch touched)
{
    if (const std::optional<FileLook> arrival = std::exchange(touched->second.arrival, std::nullopt))
        drop(m_arrivals, arrival->file, touched);
}

void RenameTracker::drop(ByFile &names, const FoundFile &file, Touch touched)
{
    const auto [first, last] = names.equal_range(file);
    const auto found = std::find_if(first, last, [&](const auto &name) { return name.second == touched; });
    if (found != last)
        names.erase(found);
}

void RenameTracker::forget(Touch touched)
{
    dropArrival(touched);
    if (touched->second.origin)
        drop(m_origins, *touched->second.origin, touched);
    m_order.erase(touched->second.order);
    m_touched.erase(touched);
}

void RenameTracker::postpone(Touch touched, Touch after)
{
    touched->second.last = after->second.last;
    m_order.splice(std::next(after->second.order), m_order, touched->second.order);
}

// What it means

std::optional<RenameTracker::Clock::time_point> RenameTracker::deadline() const
{
    if (m_order.empty())
        return std::nullopt;
    return m_order.front()->second.last + m_quiet;
}

void RenameTracker::settle(Clock::time_point now)
{
    std::vector<Due> files;
    std::vector<Touch> gone;
    std::vector<Touch> unknown;
    std::set<std::string> folders;
    for (const Touch touched : m_order) {
        if (!isQuiet(touched, now))
            break;
        const NamedPlace &place = touched->first;
        folders.insert(place.folder);
        FileLook look = m_look(place.folder, place.name);
        if (look.result == FileLook::Result::File)
            files.push_back({touched, look, {}});
        else
            (look.result == FileLook::Result::Nothing ? gone : unknown).push_back(touched);
    }
    // First, so that what belongs to a name that nobody could look at waits for it.
    std::ranges::for_each(unknown, [&](Touch touched) { settleUnknown(touched, now); });
    settleWritten(folders, now);
    // What is known of a name is needed until the file that left it has been judged under its new one.
    while (std::erase_if(files, [&](Due &due) { return waits(due, now); }) > 0) {
    }
    std::erase_if(gone, [&](Touch touched) { return waitsForClaim(touched, now); });
    for (const Due &due : files)
        judge(due);
    settleFiles(files);
    std::ranges::for_each(gone, [&](Touch touched) { settleNothing(touched); });
    answerSought();
}

bool RenameTracker::isQuiet(Touch touched, Clock::time_point now) const
{
    return touched->second.last + m_quiet <= now;
}

// Files that were written and nothing else, in folders where something happened.
void RenameTracker::settleWritten(const std::set<std::string> &folders, Clock::time_point now)
{
    for (const std::string &folder : folders) {
        auto written = m_written.lower_bound({folder, {}});
        while (written != m_written.end() && written->first.folder == folder) {
            const auto mark = written++;
            if (mark->second + m_quiet > now)
                continue;
            const NamedPlace &place = mark->first;
            const FileLook look = m_look(place.folder, place.name);
            const FoundFile *known = m_listing.find(place.folder, place.name);
            if (look.result == FileLook::Result::File && known != nullptr && known->isSameFile(look.file))
                m_listing.set(place, look.file);
            m_written.erase(mark);
        }
    }
}

// Finds where the file comes from. A name with another file than is known waits as well, for the file that
// left it.
bool RenameTracker::waits(Due &due, Clock::time_point now)
{
    const std::optional<FoundFile> &known = due.touch->second.origin;
    if (known && known->isSameFile(due.look.file))
        return false;
    if (waitsForClaim(due.touch, now))
        return true;
    due.origin = originOf(due);
    if (!due.origin || isQuiet(*due.origin, now))
        return false;
    postpone(due.touch, *due.origin);
    return true;
}

bool RenameTracker::waitsForClaim(Touch left, Clock::time_point now)
{
    const std::optional<Touch> claim = claimOf(left);
    if (!claim || isQuiet(*claim, now))
        return false;
    postpone(left, *claim);
    return true;
}

/// The name in the same folder under which the file was known.
std::optional<RenameTracker::Touch> RenameTracker::originOf(const Due &due) const
{
    const auto [first, last] = m_origins.equal_range(due.look.file);
    const auto found = std::find_if(first, last, [&](const auto &name) {
        return name.second != due.touch && name.second->first.folder == due.touch->first.folder;
    });
    return found == last ? std::nullopt : std::optional(found->second);
}

/// The name, last touched of them, to which the file that was known under this one has been moved.
std::optional<RenameTracker::Touch> RenameTracker::claimOf(Touch left) const
{
    const std::optional<FoundFile> &known = left->second.origin;
    if (!known)
        return std::nullopt;
    std::optional<Touch> latest;
    const auto [first, last] = m_arrivals.equal_range(*known);
    for (auto name = first; name != last; ++name) {
        const Touch claim = name->second;
        const bool counts = claim != left && (claim->first.folder == left->first.folder ||
                                              m_reported.contains(identityOf(*known)));
        if (counts && (!latest || (*latest)->second.last < claim->second.last))
            latest = claim;
    }
    return latest;
}

void RenameTracker::judge(const Due &due)
{
    if (!due.origin)
        return;
    const FoundFile &file = due.look.file;
    const NamedPlace &to = due.touch->first;
    const NamedPlace &from = (*due.origin)->first;
    const FoundFile &known = *(*due.origin)->second.origin;
    const RenameJob job{from.path(), to.path(), {identityOf(file), file.sizeBytes, file.modified}};
    if (m_reported.contains(job.identity()) || !job.changesExtension())
        return;
    if (setsAsideOrBack(from.name, to.name))
        return;
    if (!known.hasSameContent(file) && !wasChangedBefore(due))
        return;
    if ((file.hasOtherNames || known.hasOtherNames) && isElsewhere(file, to, from))
        return;
    m_reported.insert(job.identity(), {job, file});
    m_handlers.onRename(job);
}

// The content is another than was known, and was so before the move: at rest since the quiet time before it,
// and untouched since. The move itself is the last change of the file's attributes.
bool RenameTracker::wasChangedBefore(const Due &due) const
{
    const Touched &former = (*due.origin)->second;
    const std::optional<FileLook> &arrival = due.touch->second.arrival;
    if (!arrival || !due.touch->second.isUntouched || !arrival->file.isSameFile(due.look.file) ||
        !arrival->file.hasSameContent(due.look.file) || arrival->changed != due.look.changed)
        return false;
    return former.wasAtRest && (former.lastWritten || arrival->file.modified + m_quiet <= arrival->changed);
}

// Whether the file has a third name in the watched folders, or its former one still.
bool RenameTracker::isElsewhere(const FoundFile &file, const NamedPlace &now, const NamedPlace &before) const
{
    const auto isThere = [&](const NamedPlace &place) {
        const FileLook look = m_look(place.folder, place.name);
        return look.result == FileLook::Result::File && look.file.isSameFile(file);
    };
    if (isThere(before))
        return true;
    for (const NamedPlace &place : m_listing.placesOf(file)) {
        if (place != now && place != before)
            return true;
    }
    return std::ranges::any_of(m_touched, [&](const auto &touched) {
        return touched.first != now && touched.first != before && isThere(touched.first);
    });
}

void RenameTracker::settleFiles(const std::vector<Due> &files)
{
    for (const Due &due : files) {
        if (due.origin)
            eraseKnown((*due.origin)->first, due.look.file);
    }
    for (const Due &due : files) {
        m_listing.set(due.touch->first, due.look.file);
        follow(due.look.file, due.touch->first);
        forget(due.touch);
    }
}

void RenameTracker::eraseKnown(const NamedPlace &place, const FoundFile &file)
{
    const FoundFile *known = m_listing.find(place.folder, place.name);
    if (known != nullptr && known->isSameFile(file))
        m_listing.erase(place);
}

void RenameTracker::settleNothing(Touch touched)
{
    const NamedPlace place = touched->first;
    const std::optional<FoundFile> known = touched->second.origin;
    forget(touched);
    m_listing.erase(place);
    if (!known)
        return;
    const auto reported = m_reported.constFind(identityOf(*known));
    if (reported != m_reported.cend() && reported->job.newURL == place.path() &&
        !m_arrivals.contains(*known)) {
        m_sought.remove(reported.key());
        tell(reported->job.identity(), std::nullopt);
    }
}

// What is known of it stays.
void RenameTracker::settleUnknown(Touch touched, Clock::time_point now)
{
    const int looks = ++touched->second.failures;
    if (looks == 2)
        m_handlers.onProblem(composed(u"Accès impossible : {0}. Vérifiez les autorisations du dossier."_s,
                                      {displayName(touched->first.name)}));
    if (looks == mostLooks)
        forget(touched);
    else
        (void)touch(touched->first, now);
}

// Reported files

void RenameTracker::release(const QString &identity, const std::optional<FileStamp> &result)
{
    const auto found = m_reported.constFind(identity);
    if (found == m_reported.cend())
        return;
    const Reported reported = *found;
    std::set<NamedPlace> places{placeOf(reported.job.oldURL), placeOf(reported.job.newURL)};
    const auto [first, last] = m_arrivals.equal_range(reported.file);
    for (auto name = first; name != last; ++name)
        places.insert(name->second->first);
    if (result)
        knowResult(placeOf(reported.job.newURL), *result);
    for (const NamedPlace &place : places)
        absorb(place, reported.file);
    m_reported.remove(identity);
    m_sought.remove(identity);
}

// A result that somebody renamed before its job was released is known where the job put it, so that this
// rename is judged like any other.
void RenameTracker::knowResult(const NamedPlace &place, const FileStamp &result)
{
    const Touch left = m_touched.find(place);
    const auto renamed = std::ranges::find_if(m_arrivals, [&](const auto &arrival) {
        return arrival.second != left && identityOf(arrival.first) == result.identity;
    });
    if (left == m_touched.end() || renamed == m_arrivals.end() || !m_listing.holds(place.folder))
        return;
    FoundFile known = renamed->first;
    known.sizeBytes = result.size;
    known.modified = result.modified;
    if (left->second.origin)
        drop(m_origins, *left->second.origin, left);
    left->second.origin = known;
    m_origins.emplace(known, left);
    m_listing.set(place, known);
}

// Takes for known what stands there, unless it is somebody else's rename under way.
void RenameTracker::absorb(const NamedPlace &place, const FoundFile &reported)
{
    const FileLook look = m_look(place.folder, place.name);
    if (look.result == FileLook::Result::Unknown || !m_listing.holds(place.folder))
        return;
    const Touch touched = m_touched.find(place);
    if (touched != m_touched.end()) {
        const std::optional<FoundFile> &known = touched->second.origin;
        const bool isLeftByAnother = known && !known->isSameFile(reported) && claimOf(touched);
        const bool isTakenByAnother = look.result == FileLook::Result::File &&
                                      !look.file.isSameFile(reported) &&
                                      originOf({touched, look, {}}).has_value();
        if (isLeftByAnother || isTakenByAnother)
            return;
        forget(touched);
    }
    if (look.result == FileLook::Result::File)
        m_listing.set(place, look.file);
    else
        m_listing.erase(place);
}

void RenameTracker::locate(const QString &identity)
{
    const auto reported = m_reported.find(identity);
    if (reported == m_reported.end()) {
        tell(identity, std::nullopt);
        return;
    }
    m_sought.insert(identity);
    answerSought();
}

// A name that is left alone by now may hold another file: then nothing else tells that the sought one is
// gone.
void RenameTracker::answerSought()
{
    for (const QString &identity : QSet<QString>(m_sought)) {
        const Reported &reported = m_reported[identity];
        if (m_arrivals.contains(reported.file) || m_touched.contains(placeOf(reported.job.newURL)))
            continue;
        m_sought.remove(identity);
        const std::vector<NamedPlace> places = m_listing.placesOf(reported.file);
        tell(identity, places.empty() ? std::nullopt : std::optional<fs::path>(places.front().path()));
    }
}

void RenameTracker::follow(const FoundFile &file, const NamedPlace &place)
{
    if (m_reported.isEmpty())
        return;
    const auto reported = m_reported.find(identityOf(file));
    if (reported == m_reported.end())
        return;
    const fs::path path = place.path();
    if (m_sought.remove(reported.key()) || reported->job.newURL != path) {
        reported->job = reported->job.movedTo(path);
        tell(reported->job.identity(), path);
    }
}

void RenameTracker::tell(const QString &identity, const std::optional<fs::path> &place) const
{
    if (m_handlers.onMoved)
        m_handlers.onMoved(identity, place);
}

} // namespace quorvalent
