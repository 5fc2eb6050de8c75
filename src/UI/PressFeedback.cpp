#include "UI/PressFeedback.h"

#include <QTimer>

namespace tavro {

void PressFeedback::press(const QString& name) {
    symbol = name;
    QTimer::singleShot(duration, Qt::PreciseTimer, this, [this] { symbol = QString(); });
}

} // namespace tavro
