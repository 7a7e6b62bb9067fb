#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>

namespace quorvalent {

/// One line of the list of recent conversions.
struct Activity
{
    QUuid id = QUuid::createUuid();
    QString name;   ///< the file's new name
    QString detail; ///< what happened, French source text
    bool success = false;
    QDateTime date = QDateTime::currentDateTimeUtc();

    Activity(QString fileName, QString outcome, bool succeeded)
        : name(std::move(fileName))
        , detail(std::move(outcome))
        , success(succeeded)
    {}
};

} // namespace quorvalent
