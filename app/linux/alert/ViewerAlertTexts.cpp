#include "app/linux/alert/ViewerAlertTexts.h"

#include <QFontMetrics>
#include <QLabel>
#include <QVBoxLayout>
#include <algorithm>
#include <string>

namespace velmora {

namespace {

/// A comfortable line, and the least that can be read, in characters of average width.
constexpr int lineLength = 60;
constexpr int leastLineLength = 12;
/// The least that is seen of a text that scrolls.
constexpr int leastLines = 3;

QLabel* makeLabel(const std::string& text) {
    auto* const label = new QLabel;
    // Whatever a text says, it is no markup.
    label->setTextFormat(Qt::PlainText);
    label->setText(QString::fromStdString(text));
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    // The menu's words would be in another language than the alert's; its keys work without it.
    label->setContextMenuPolicy(Qt::NoContextMenu);
    return label;
}

}  // namespace

ViewerAlertTexts::ViewerAlertTexts(const ViewerAlert& alert) {
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

QSize ViewerAlertTexts::sizeHint() const {
    const int width = std::min(fontMetrics().averageCharWidth() * lineLength, widthLimit_);
    return {width, widget()->heightForWidth(width)};
}

QSize ViewerAlertTexts::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * leastLineLength,
            fontMetrics().lineSpacing() * leastLines};
}

}  // namespace velmora
