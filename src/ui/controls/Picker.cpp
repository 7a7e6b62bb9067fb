#include "ui/controls/Picker.h"

#include "ui/Metrics.h"
#include "ui/TypeScale.h"
#include "ui/controls/Painting.h"
#include "ui/controls/PickerDelegate.h"
#include "ui/icons/Symbol.h"

#include <QAbstractItemView>
#include <QKeyEvent>
#include <QLayout>
#include <QPainter>
#include <QSignalBlocker>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

constexpr int chevronSize = 14;
constexpr int chevronInset = 1; // the drawing is narrower than its square
constexpr int textInset = 10;
constexpr int textGap = 2;     // to the chevrons
constexpr int leastWidth = 96; // where the window leaves no more
constexpr int mostRows = 16;   // the longest list, languages, without scrolling

} // namespace

Picker::Picker(int width, QWidget *parent)
    : QComboBox(parent)
    , m_width(width)
{
    setFont(fontOf(TextStyle::Body));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    setItemDelegate(new PickerDelegate(this));
    setMaxVisibleItems(mostRows);
    connect(this, &QComboBox::activated, this, [this](int index) { Q_EMIT picked(itemData(index)); });
}

void Picker::setState(const QList<Choice> &choices, const QVariant &value)
{
    const QSignalBlocker quiet(this);
    if (choices != m_choices) {
        m_choices = choices;
        clear();
        for (const Choice &choice : choices)
            addItem(choice.text, choice.value);
    }
    setCurrentIndex(findData(value));
}

QSize Picker::sizeHint() const
{
    const int text = TextBlock(currentText(), font()).size().toSize().height();
    return {m_width, std::max(metrics::buttonHeight, text + 2 * metrics::focusRing)};
}

QSize Picker::minimumSizeHint() const
{
    return {std::min(m_width, leastWidth), sizeHint().height()};
}

TextBlock Picker::block(const QString &text) const
{
    return {text, font(), double(width() - chevronSize - chevronInset - textGap - textInset),
            TextBlock::Elide::End};
}

bool Picker::isCut() const
{
    return std::ranges::any_of(m_choices,
                               [this](const Choice &choice) { return block(choice.text).isCut(); });
}

void Picker::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    if (!isEnabled())
        painter.setOpacity(disabledOpacity);
    paintRounded(painter, rect(), metrics::buttonRadius, underMouse() ? theme.controlHover : theme.control,
                 theme.controlBorder);
    const QRectF chevrons(width() - chevronSize - chevronInset, (height() - chevronSize) / 2.0, chevronSize,
                          chevronSize);
    paintSymbol(painter, Symbol::Chevrons, chevrons, theme.readableSecondary, SymbolWeight::Semibold);
    const TextBlock text = block(currentText());
    text.paint(painter, QPointF(textInset, std::floor((height() - text.size().height()) / 2)), theme.text);
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), metrics::buttonRadius, theme.focusRing);
}

void Picker::showPopup()
{
    QWidget *window = view()->parentWidget();
    view()->setFrameShape(QFrame::NoFrame);
    view()->viewport()->setAutoFillBackground(false);
    window->ensurePolished();
    const bool hasShadow = window->testAttribute(Qt::WA_TranslucentBackground);
    const int margin = metrics::menuPadding + (hasShadow ? metrics::shadowMargin : 0);
    window->layout()->setContentsMargins(0, 0, 0, 0);
    QComboBox::showPopup();
    // Room for the card's rim and its shadow, around the list where it stands.
    window->layout()->setContentsMargins(margin, margin, margin, margin);
    window->setGeometry(window->geometry().adjusted(-margin, -margin, margin, margin));
}

void Picker::wheelEvent(QWheelEvent *event)
{
    // The wheel scrolls the page; a choice that changes under way would go unnoticed.
    event->ignore();
}

void Picker::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || event->key() == Qt::Key_Space)
        showPopup();
    else
        QComboBox::keyPressEvent(event);
}

} // namespace quorvalent
