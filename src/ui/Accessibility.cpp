#include "ui/Accessibility.h"

#include "ui/FloatingCard.h"
#include "ui/SettingsWindow.h"
#include "ui/controls/Card.h"
#include "ui/controls/IconView.h"
#include "ui/controls/ListRow.h"
#include "ui/views/CompactBanner.h"

#include <QAccessibleObject>
#include <QAccessibleWidget>
#include <QApplication>

namespace quorvalent {

namespace {

/// Everything inside is told by its own name.
class WholeInterface : public QAccessibleWidget
{
public:
    using QAccessibleWidget::QAccessibleWidget;

    [[nodiscard]] int childCount() const override { return 0; }
    [[nodiscard]] QAccessibleInterface *child(int /*index*/) const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface *childAt(int /*x*/, int /*y*/) const override { return nullptr; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface * /*child*/) const override { return -1; }
    [[nodiscard]] QAccessibleInterface *focusChild() const override { return nullptr; }
};

/// Something by its name; without one it only decorates or lays out, and is passed over.
class NamedInterface : public QAccessibleWidget
{
public:
    NamedInterface(QWidget *widget, QAccessible::Role whenNamed)
        : QAccessibleWidget(widget)
        , m_whenNamed(whenNamed)
    {}

    [[nodiscard]] QAccessible::Role role() const override
    {
        return widget()->accessibleName().isEmpty() ? QAccessible::Client : m_whenNamed;
    }

private:
    QAccessible::Role m_whenNamed;
};

/// A row of a list is pressed like a button.
class RowInterface : public QAccessibleWidget
{
public:
    explicit RowInterface(ListRow &row)
        : QAccessibleWidget(&row, QAccessible::ListItem)
        , m_row(row)
    {}

    [[nodiscard]] QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString &action) override
    {
        if (action == pressAction())
            Q_EMIT m_row.pressed();
    }

private:
    ListRow &m_row;
};

QAccessible::Role roleOf(FloatingCard::Kind kind)
{
    switch (kind) {
    case FloatingCard::Kind::Notice:
        return QAccessible::Window;
    case FloatingCard::Kind::Warning:
        return QAccessible::AlertMessage;
    case FloatingCard::Kind::Popover:
        return QAccessible::Dialog;
    }
    Q_UNREACHABLE();
}

/// A window without a title bar is called what its content is called.
class CardWindowInterface : public QAccessibleWidget
{
public:
    explicit CardWindowInterface(FloatingCard &card)
        : QAccessibleWidget(&card, roleOf(card.kind()))
        , m_content(card.content())
    {}

    [[nodiscard]] QString text(QAccessible::Text text) const override
    {
        switch (text) {
        case QAccessible::Name:
            return m_content.accessibleName();
        case QAccessible::Description:
            return m_content.accessibleDescription();
        default:
            return QAccessibleWidget::text(text);
        }
    }

private:
    QWidget &m_content;
};

/// Qt lists a program's windows without those that close at a press elsewhere, because most of them belong to
/// a control; the popover belongs to none.
class ApplicationInterface : public QAccessibleApplication
{
public:
    [[nodiscard]] int childCount() const override
    {
        return QAccessibleApplication::childCount() + static_cast<int>(popovers().size());
    }
    [[nodiscard]] QAccessibleInterface *child(int index) const override
    {
        const int others = QAccessibleApplication::childCount();
        return index < others ? QAccessibleApplication::child(index)
                              : QAccessible::queryAccessibleInterface(popovers().value(index - others));
    }
    int indexOfChild(const QAccessibleInterface *child) const override
    {
        const auto at = popovers().indexOf(child->object());
        return at < 0 ? QAccessibleApplication::indexOfChild(child)
                      : QAccessibleApplication::childCount() + static_cast<int>(at);
    }

private:
    static QObjectList popovers()
    {
        QObjectList open;
        for (QWidget *window : QApplication::topLevelWidgets()) {
            const auto *card = qobject_cast<FloatingCard *>(window);
            if (card != nullptr && card->kind() == FloatingCard::Kind::Popover && card->isVisible())
                open.append(window);
        }
        return open;
    }
};

// The caller, which takes the most derived class that is answered for, owns the interface.
QAccessibleInterface *interfaceOf(const QString & /*className*/, QObject *object)
{
    if (object == qApp)
        return new ApplicationInterface;
    if (auto *card = qobject_cast<FloatingCard *>(object))
        return new CardWindowInterface(*card);
    if (auto *banner = qobject_cast<CompactBanner *>(object))
        return new WholeInterface(banner, QAccessible::Notification);
    if (auto *icon = qobject_cast<IconView *>(object))
        return new NamedInterface(icon, QAccessible::Graphic);
    if (auto *window = qobject_cast<SettingsWindow *>(object))
        return new QAccessibleWidget(window, QAccessible::Window);
    if (auto *row = qobject_cast<ListRow *>(object))
        return new RowInterface(*row);
    if (auto *card = qobject_cast<Card *>(object))
        return new QAccessibleWidget(card, QAccessible::Grouping);
    if (object->metaObject() == &QWidget::staticMetaObject)
        return new NamedInterface(static_cast<QWidget *>(object), QAccessible::Grouping);
    return nullptr;
}

} // namespace

void describeToAssistiveTechnology()
{
    QAccessible::installFactory(&interfaceOf);
}

} // namespace quorvalent
