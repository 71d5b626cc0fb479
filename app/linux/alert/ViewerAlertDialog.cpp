#include "app/linux/alert/ViewerAlertDialog.h"

#include <QGridLayout>
#include <QIcon>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QWindow>

#include "app/linux/alert/ViewerAlertTexts.h"

namespace velmora {

namespace {

/// The part of the screen that a window may take with its frame.
constexpr double usableScreen = 0.9;
constexpr double leastPointSize = 6;

QString textOf(const std::string& text) {
    return QString::fromStdString(text);
}

bool fits(const QSize& size, const QSize& room) {
    return size.width() <= room.width() && size.height() <= room.height();
}

QStyle::StandardPixmap pixmapFor(ViewerAlertStyle style) {
    switch (style) {
        case ViewerAlertStyle::warning:
            return QStyle::SP_MessageBoxWarning;
        case ViewerAlertStyle::informational:
            return QStyle::SP_MessageBoxInformation;
        case ViewerAlertStyle::critical:
            break;
    }
    return QStyle::SP_MessageBoxCritical;
}

}  // namespace

ViewerAlertDialog::ViewerAlertDialog(const ViewerAlert& alert) {
    setWindowTitle(QStringLiteral("Velmora Viewer Host"));
    setWindowFlag(Qt::WindowStaysOnTopHint);
    // What a screen reader says when the window comes up.
    setAccessibleName(textOf(alert.title));
    setAccessibleDescription(textOf(alert.informativeText));
    auto* const layout = new QGridLayout(this);
    layout->addWidget(makeIcon(alert.style), 0, 0, Qt::AlignTop);
    texts_ = new ViewerAlertTexts(alert);
    layout->addWidget(texts_, 0, 1);
    QBoxLayout* const buttons = makeButtons(alert.buttons);
    layout->addLayout(buttons, 1, 0, 1, 2);
    layout->setColumnStretch(1, 1);
    layout->setRowStretch(0, 1);
    fitToScreen(*buttons);
}

void ViewerAlertDialog::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    windowHandle()->installEventFilter(&accidents_);
    // The last one is asked first: a key that scrolls does no harm.
    windowHandle()->installEventFilter(texts_);
}

QLabel* ViewerAlertDialog::makeIcon(ViewerAlertStyle alertStyle) {
    const int size = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    const QIcon icon = style()->standardIcon(pixmapFor(alertStyle), nullptr, this);
    auto* const label = new QLabel;
    label->setPixmap(icon.pixmap(QSize(size, size), devicePixelRatioF()));
    return label;
}

QBoxLayout* ViewerAlertDialog::makeButtons(const std::vector<std::string>& texts) {
    auto* const row = new QBoxLayout(QBoxLayout::LeftToRight);
    row->addStretch();
    for (const std::string& text : texts) {
        // An ampersand would mark a key.
        auto* const button = new QPushButton(textOf(text).replace(u'&', QStringLiteral("&&")));
        // The row begins with what keeps the buttons to its end. A dialog's first button is its
        // default one.
        const bool isFirst = row->count() == 1;
        connect(button, &QPushButton::clicked, this, isFirst ? &QDialog::accept : &QDialog::reject);
        row->addWidget(button);
    }
    return row;
}

void ViewerAlertDialog::fitToScreen(QBoxLayout& buttons) {
    const QSize usable = screen()->availableSize() * usableScreen;
    if (minimumSizeHint().width() > usable.width()) {
        buttons.setDirection(QBoxLayout::TopToBottom);
        layout()->invalidate();
    }
    // Buttons neither wrap nor scroll: where they have no room the letters get smaller.
    QFont smaller = font();
    while (!fits(minimumSizeHint(), usable) && smaller.pointSizeF() > leastPointSize) {
        smaller.setPointSizeF(smaller.pointSizeF() - 1);
        setFont(smaller);
    }
    const int besides = sizeHint().width() - texts_->sizeHint().width();
    texts_->limitWidth(usable.width() - besides);
    texts_->updateGeometry();
    resize(sizeHint().boundedTo(usable));
}

}  // namespace velmora
