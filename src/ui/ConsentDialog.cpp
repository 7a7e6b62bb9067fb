#include "ui/ConsentDialog.h"

#include "i18n/Localization.h"
#include "ui/Metrics.h"
#include "ui/controls/IconView.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/WrappingLabel.h"

#include <QDialog>
#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

bool askConsent(QWidget *window, const ConsentQuestion &question)
{
    QDialog dialog(window);
    dialog.setWindowTitle(L(u"Quorvalent"_s));
    dialog.setFixedWidth(metrics::dialogWidth);
    auto *title = new WrappingLabel(TextStyle::Heading);
    title->setText(L(question.title));
    auto *text = new WrappingLabel(TextStyle::Body, Tone::Secondary);
    text->setText(L(question.text));
    auto *accept = new PushButton(PushButton::Look::Prominent);
    accept->setText(L(question.accept));
    auto *refuse = new PushButton;
    refuse->setText(L(question.refuse));
    QObject::connect(accept, &PushButton::clicked, &dialog, &QDialog::accept);
    QObject::connect(refuse, &PushButton::clicked, &dialog, &QDialog::reject);

    auto *head = new QHBoxLayout;
    head->setSpacing(metrics::rowGap);
    head->addWidget(new IconView(Symbol::ExclamationShieldFill, metrics::warningIcon, Tone::Orange), 0,
                    Qt::AlignTop);
    head->addWidget(title, 1);
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(metrics::rowGap);
    buttons->addStretch();
    buttons->addWidget(refuse);
    buttons->addWidget(accept);
    auto *column = new QVBoxLayout(&dialog);
    column->setContentsMargins(metrics::popoverPadding, metrics::popoverPadding, metrics::popoverPadding,
                               metrics::popoverPadding);
    column->setSpacing(metrics::cardSpacing);
    column->addLayout(head);
    column->addWidget(text);
    column->addLayout(buttons);
    dialog.setFixedHeight(column->totalHeightForWidth(metrics::dialogWidth));
    refuse->setFocus(); // nothing is switched off by an Enter too many
    return dialog.exec() == QDialog::Accepted;
}

} // namespace quorvalent
