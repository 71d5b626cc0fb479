#include "app/linux/alert/ViewerAlertDialog.h"

#include <QFontMetrics>
#include <QGridLayout>
#include <QIcon>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <algorithm>

namespace velmora {

namespace {

/// A comfortable line, and the least that can be read, in characters of average width.
constexpr int lineLength = 60;
constexpr int leastLineLength = 12;
/// The least that is seen of a text that scrolls.
constexpr int leastLines = 3;
/// The part of the screen that a window may take with its frame.
constexpr double usableScreen = 0.9;
constexpr double leastPointSize = 6;

QString textOf(const std::string& text) {
    return QString::fromStdString(text);
}

QLabel* makeLabel(const std::string& text) {
    auto* const label = new QLabel;
    // Whatever a text says, it is no markup.
    label->setTextFormat(Qt::PlainText);
    label->setText(textOf(text));
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    // The menu's words would be in another language than the alert's; its keys work without it.
    label->setContextMenuPolicy(Qt::NoContextMenu);
    return label;
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

/// The title and the informative text, which scroll where they get less room than they want.
class ViewerAlertDialog::Texts final : public QScrollArea {
  public:
    explicit Texts(const ViewerAlert& alert) {
        auto* const texts = new QWidget;
        auto* const layout = new QVBoxLayout(texts);
        layout->setContentsMargins(0, 0, 0, 0);
        QLabel* const title = makeLabel(alert.title);
        QFont bold = title->font();
        bold.setBold(true);
        title->setFont(bold);
        layout->addWidget(title);
        layout->addWidget(makeLabel(alert.informativeText));
        layout->addStretch();
        setFrameShape(QFrame::NoFrame);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setFocusPolicy(Qt::NoFocus);
        setWidgetResizable(true);
        setWidget(texts);
    }

    /// In pixels.
    void limitWidth(int width) { widthLimit_ = width; }

    QSize sizeHint() const override {
        const int width = std::min(fontMetrics().averageCharWidth() * lineLength, widthLimit_);
        return {width, widget()->heightForWidth(width)};
    }
    QSize minimumSizeHint() const override {
        return {fontMetrics().averageCharWidth() * leastLineLength,
                fontMetrics().lineSpacing() * leastLines};
    }

  private:
    int widthLimit_ = QWIDGETSIZE_MAX;
};

ViewerAlertDialog::ViewerAlertDialog(const ViewerAlert& alert) {
    setWindowTitle(QStringLiteral("Velmora Viewer Host"));
    setWindowFlag(Qt::WindowStaysOnTopHint);
    // What a screen reader says when the window comes up.
    setAccessibleName(textOf(alert.title));
    setAccessibleDescription(textOf(alert.informativeText));
    auto* const layout = new QGridLayout(this);
    layout->addWidget(makeIcon(alert.style), 0, 0, Qt::AlignTop);
    auto* const texts = new Texts(alert);
    layout->addWidget(texts, 0, 1);
    QBoxLayout* const buttons = makeButtons(alert.buttons);
    layout->addLayout(buttons, 1, 0, 1, 2);
    layout->setColumnStretch(1, 1);
    layout->setRowStretch(0, 1);
    fitToScreen(*texts, *buttons);
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

void ViewerAlertDialog::fitToScreen(Texts& texts, QBoxLayout& buttons) {
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
    const int besides = sizeHint().width() - texts.sizeHint().width();
    texts.limitWidth(usable.width() - besides);
    texts.updateGeometry();
    resize(sizeHint().boundedTo(usable));
}

}  // namespace velmora
