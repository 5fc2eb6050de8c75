#include "UI/PressFeedback.h"

#include <QTimer>

namespace tavro {

void PressFeedback::press(const QString& name) {
    flash(name);
    QTimer::singleShot(duration, Qt::PreciseTimer, this, [this] { flash({}); });
}

void PressFeedback::flash(const QString& name) {
    if (name == symbol)
        return;
    symbol = name;
    emit flashingChanged();
}

} // namespace tavro
