#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <filesystem>

namespace quorvalent {

/// How a file of the list of recent conversions came out.
enum class ActivityState { Succeeded, SucceededWithRemark, Cancelled, Failed };

/// One line of the list of recent conversions. Texts are French source texts.
struct Activity
{
    QUuid id = QUuid::createUuid();
    QString name;   ///< the file's name when the job was over
    QString detail; ///< what happened
    bool success = false;
    QDateTime date = QDateTime::currentDateTimeUtc();
    QString folder;             ///< the file's folder as people see it; empty where it is not told
    QString change;             ///< "HEIC → JPG", or empty
    std::filesystem::path file; ///< where the file stood when the job was over, or empty
    QStringList remarks;        ///< what is to be known beside the detail, complete sentences
    bool isCancelled = false;   ///< the user took the rename back

    Activity(QString fileName, QString outcome, bool succeeded)
        : name(std::move(fileName))
        , detail(std::move(outcome))
        , success(succeeded)
    {}

    [[nodiscard]] ActivityState state() const
    {
        if (success)
            return remarks.isEmpty() ? ActivityState::Succeeded : ActivityState::SucceededWithRemark;
        return isCancelled ? ActivityState::Cancelled : ActivityState::Failed;
    }
};

} // namespace quorvalent
