#include "UI/MoreMenu.h"

#include "UI/ControlBarModel.h"

namespace tavro {

MoreMenu::MoreMenu(std::shared_ptr<ControlBarModel> modelGiven) : model(std::move(modelGiven)) {
    connect(model.get(), &ControlBarModel::isEndingChanged, this, &MoreMenu::close);
}

void MoreMenu::setOpen(bool value) {
    if (value == open)
        return;
    open = value;
    setCurrent(none);
    emit isOpenChanged();
}

void MoreMenu::toggle() {
    setOpen(!open && !model->isEnding());
}

void MoreMenu::close() {
    setOpen(false);
}

void MoreMenu::move(int by) {
    if (!open)
        toggle();
    if (!open)
        return;
    const auto count = static_cast<int>(items().size());
    const int from = currentItem == none && by < 0 ? 0 : currentItem;
    setCurrent((from + by + count) % count);
}

void MoreMenu::choose(int item) {
    if (!open)
        return;
    close();
    if (item == 0)
        model->restart();
    else if (item == 1)
        model->remove();
}

} // namespace tavro
