#include "app/linux/alert/ViewerWindowActivation.h"

#include <QMetaObject>
#include <QWindow>

namespace velmora {

void ViewerWindowActivation::ofWindow(QWidget& window) {
    window.windowHandle()->installEventFilter(new ViewerWindowActivation(window));
}

bool ViewerWindowActivation::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Expose && window_.windowHandle()->isExposed()) {
        watched->removeEventFilter(this);
        // Behind this event, which has the window drawn.
        QMetaObject::invokeMethod(
            &window_, [this] { window_.activateWindow(); }, Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace velmora
