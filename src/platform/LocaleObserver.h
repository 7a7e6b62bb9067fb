#pragma once

#include <QObject>

#include <functional>

namespace quorvalent {

/// Calls back when Qt tells the running application that the system's locale is another one. Main thread; a
/// QCoreApplication must exist. Costs one comparison for each event.
class LocaleObserver : public QObject
{
    Q_OBJECT

public:
    explicit LocaleObserver(std::function<void()> onChange);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    std::function<void()> m_onChange;
};

} // namespace quorvalent
