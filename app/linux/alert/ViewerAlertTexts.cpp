#include "app/linux/alert/ViewerAlertTexts.h"

#include <QFontMetrics>
#include <QLabel>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>
#include <optional>
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

std::optional<QAbstractSlider::SliderAction> actionOf(int key) {
    switch (key) {
        case Qt::Key_Up:
            return QAbstractSlider::SliderSingleStepSub;
        case Qt::Key_Down:
            return QAbstractSlider::SliderSingleStepAdd;
        case Qt::Key_PageUp:
            return QAbstractSlider::SliderPageStepSub;
        case Qt::Key_PageDown:
            return QAbstractSlider::SliderPageStepAdd;
        case Qt::Key_Home:
            return QAbstractSlider::SliderToMinimum;
        case Qt::Key_End:
            return QAbstractSlider::SliderToMaximum;
        default:
            return std::nullopt;
    }
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

bool ViewerAlertTexts::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress && scrollBy(*static_cast<QKeyEvent*>(event))) {
        return true;
    }
    return QScrollArea::eventFilter(watched, event);
}

bool ViewerAlertTexts::scrollBy(const QKeyEvent& key) {
    const auto action = actionOf(key.key());
    QScrollBar& bar = *verticalScrollBar();
    // With others held down a key selects text.
    const bool isAlone = (key.modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (!action || !isAlone || bar.maximum() == 0) {
        return false;
    }
    const int line = fontMetrics().lineSpacing();
    bar.setSingleStep(line);
    // The last line of a page, which may be cut, is the first one of the next.
    bar.setPageStep(std::max(line, viewport()->height() - line));
    bar.triggerAction(*action);
    return true;
}

}  // namespace velmora
