// Every window in every state: QML warnings, cut texts and accessibility.
#include "KeyPress.h"
#include "UI/ControlBarModel.h"
#include "UI/SetupModel.h"
#include "UI/Theme.h"
#include "gallery/Scenes.h"
#include "support/Programs.h"
#include "support/TestSupport.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QQuickItem>

#include <algorithm>

using namespace tavro;
using namespace tavro::test;

namespace {

class Warnings {
public:
    Warnings() {
        lines().clear();
        before = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
            if (type != QtDebugMsg && type != QtInfoMsg)
                lines() << text;
        });
    }
    ~Warnings() { qInstallMessageHandler(before); }
    QStringList all() const { return lines(); }

private:
    static QStringList& lines() {
        static QStringList collected;
        return collected;
    }
    QtMessageHandler before;
};

QStringList cutTexts(const QQuickItem& root) {
    QStringList names;
    for (const QQuickItem* item : root.findChildren<QQuickItem*>()) {
        if (!item->inherits("QQuickText") || !item->isVisible())
            continue;
        const QString text = item->property("text").toString();
        const bool tooLarge = item->property("contentWidth").toDouble() > item->width() + 1 ||
                              item->property("contentHeight").toDouble() > item->height() + 1;
        const QRectF place = item->mapRectToItem(&root, item->boundingRect());
        const bool outside =
            !QRectF(0, 0, root.width(), root.height()).adjusted(-1, -1, 1, 1).contains(place);
        if (!text.isEmpty() && (tooLarge || outside || item->property("truncated").toBool()))
            names << text;
    }
    return names;
}

void collect(QAccessibleInterface* node, std::vector<QAccessibleInterface*>& nodes) {
    if (!node || node->state().invisible)
        return;
    nodes.push_back(node);
    for (int i = 0; i < node->childCount(); ++i)
        collect(node->child(i), nodes);
}

std::vector<QAccessibleInterface*> accessibleNodes(QObject* window) {
    std::vector<QAccessibleInterface*> nodes;
    collect(QAccessible::queryAccessibleInterface(window), nodes);
    return nodes;
}

bool isControl(QAccessible::Role role) {
    using enum QAccessible::Role;
    for (const QAccessible::Role control : {Button, CheckBox, ComboBox, EditableText, MenuItem, ListItem}) {
        if (role == control)
            return true;
    }
    return false;
}

struct ViewTest : testing::TestWithParam<double> {
    Warnings warnings;
    QFont usualFont = QGuiApplication::font();

    ViewTest() {
        Theme::registerFonts();
        QFont font = usualFont;
        font.setPointSizeF(GetParam());
        QGuiApplication::setFont(font);
    }
    ~ViewTest() override { QGuiApplication::setFont(usualFont); }

    static std::unique_ptr<gallery::Scene> open(const gallery::Entry& entry) {
        auto scene = entry.open();
        EXPECT_TRUE(waitUntil([&] { return scene->isReady(); }));
        scene->arrange();
        for (const ViewWindow* window : scene->windows()) {
            int inARow = 0; // the window manager may report an earlier size late
            EXPECT_TRUE(waitUntil([&] {
                const bool fits = window->isExposed() && window->size() == window->minimumSize() &&
                                  window->rootObject()->size() == window->size();
                inARow = fits ? inARow + 1 : 0;
                return inARow > 20;
            }));
        }
        return scene;
    }
};

} // namespace

TEST_P(ViewTest, everyStateFitsAndCanBeReadAloud) {
    for (const gallery::Entry& entry : gallery::entries()) {
        SCOPED_TRACE(entry.name.toStdString());
        const auto scene = open(entry);
        for (ViewWindow* window : scene->windows()) {
            EXPECT_EQ(cutTexts(*window->rootObject()), QStringList());
            int controls = 0;
            for (QAccessibleInterface* node : accessibleNodes(window)) {
                if (!isControl(node->role()))
                    continue;
                ++controls;
                const QString name = node->text(QAccessible::Name);
                EXPECT_FALSE(name.isEmpty()) << node->role();
                EXPECT_GE(node->rect().width(), 24) << name.toStdString();
                EXPECT_GE(node->rect().height(), 24) << name.toStdString();
            }
            EXPECT_GT(controls, 0);
        }
    }
    // The last window destroys the engine. Its late warnings count, too.
    waitUntil([] { return QGuiApplication::allWindows().empty(); });
    EXPECT_EQ(QGuiApplication::allWindows().size(), 0);
    EXPECT_EQ(warnings.all(), QStringList());
}

INSTANTIATE_TEST_SUITE_P(TextSizes, ViewTest, testing::Values(10, 16, 22));

namespace {

struct OneView : ViewTest {
    static std::unique_ptr<gallery::Scene> named(const char* name) {
        for (const gallery::Entry& entry : gallery::entries()) {
            if (entry.name == QLatin1String(name))
                return open(entry);
        }
        throw std::logic_error("no such state");
    }
    static QAccessibleInterface* control(ViewWindow* window, const char* name) {
        for (QAccessibleInterface* node : accessibleNodes(window)) {
            if (isControl(node->role()) && node->text(QAccessible::Name) == QLatin1String(name))
                return node;
        }
        return nullptr;
    }
    static QString focusedName(const ViewWindow* window) {
        QAccessibleInterface* node = QAccessible::queryAccessibleInterface(window->activeFocusItem());
        return node ? node->text(QAccessible::Name) : QString();
    }
};

} // namespace

TEST_P(OneView, aScreenReaderPressesAndChooses) {
    const auto scene = named("setup");
    ViewWindow* window = scene->windows().front();
    const auto press = [&](const char* name, const QString& action) {
        QAccessibleInterface* node = control(window, name);
        ASSERT_TRUE(node && node->actionInterface()) << name;
        EXPECT_TRUE(node->actionInterface()->actionNames().contains(action)) << name;
        node->actionInterface()->doAction(action);
    };
    const QString pressAction = QAccessibleActionInterface::pressAction();
    press("Scenario", pressAction);
    ASSERT_TRUE(waitUntil([&] { return control(window, "Returning customer") != nullptr; }));
    press("Returning customer", pressAction);
    EXPECT_TRUE(waitUntil([&] {
        return control(window, "Scenario")->text(QAccessible::Description) == u"Returning customer";
    }));
    auto* model = window->rootObject()->property("model").value<QObject*>();
    EXPECT_TRUE(model->property("includeMic").toBool());
    press("Narrate with microphone", QAccessibleActionInterface::toggleAction());
    EXPECT_FALSE(model->property("includeMic").toBool());
}

TEST_P(OneView, aPressIsShownFromItsActionOnHoweverItComes) {
    const auto scene = named("panel-recording");
    ViewWindow* window = scene->windows().front();
    auto* model = window->rootObject()->property("model").value<ControlBarModel*>();
    QQuickItem* button = nullptr;
    for (QQuickItem* item : window->rootObject()->findChildren<QQuickItem*>())
        if (item->property("flashing").isValid())
            button = item;
    ASSERT_TRUE(button);
    const auto mouse = [&](const QStringList& action) {
        const QPoint place = window->mapToGlobal(button->mapToScene(QPointF(15, 15)).toPoint());
        outputOf(u"xdotool"_qs,
            QStringList{u"mousemove"_qs, QString::number(place.x()), QString::number(place.y())} + action);
    };
    const auto isShown = [&] { return button->property("flashing").toBool(); };
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"pointer",
            [&] {
                mouse({u"mousedown"_qs, u"1"_qs});
                EXPECT_TRUE(waitUntil([&] { return button->property("pressed").toBool(); }));
                EXPECT_FALSE(isShown()); // the pointer may still leave the button
                mouse({u"mouseup"_qs, u"1"_qs});
            }},
        {"key",
            [&] {
                button->forceActiveFocus(Qt::TabFocusReason);
                pressKey(window, Qt::Key_Space);
            }},
        {"screen reader",
            [&] {
                auto* actions = control(window, "Pause")->actionInterface();
                actions->doAction(QAccessibleActionInterface::pressAction());
            }},
    };
    for (const auto& [name, press] : ways) {
        std::vector<bool> shownWithAction;
        model->onPause = [&] { shownWithAction.push_back(isShown()); };
        press();
        EXPECT_TRUE(waitUntil([&] { return !shownWithAction.empty(); })) << name;
        EXPECT_EQ(shownWithAction, std::vector<bool>{true}) << name;
        EXPECT_TRUE(waitUntil([&] { return !isShown() && button->scale() == 1; })) << name;
    }
}

TEST_P(OneView, theLevelIsAValueForScreenReaders) {
    const auto scene = named("panel-recording");
    ViewWindow* window = scene->windows().front();
    auto* model = window->rootObject()->property("model").value<ControlBarModel*>();
    const auto nodes = accessibleNodes(window);
    const auto found = std::ranges::find_if(
        nodes, [](QAccessibleInterface* node) { return node->text(QAccessible::Name) == u"Sound level"; });
    ASSERT_NE(found, nodes.end());
    QAccessibleInterface* meter = *found;
    EXPECT_EQ(meter->role(), QAccessible::ProgressBar);
    EXPECT_EQ(meter->parent()->child(meter->parent()->indexOfChild(meter)), meter);
    EXPECT_EQ(meter->rect().size(), QSize(44, 14));
    QAccessibleValueInterface* value = meter->valueInterface();
    ASSERT_TRUE(value);
    EXPECT_EQ(value->minimumValue(), 0);
    EXPECT_EQ(value->maximumValue(), 1);
    EXPECT_NEAR(value->currentValue().toDouble(), 0.6, 0.001); // in tenths
    EXPECT_EQ(meter->text(QAccessible::Value), u"60 %");
    EXPECT_EQ(meter->text(QAccessible::Description), QString());
    model->setMicrophoneSilent(true);
    EXPECT_EQ(meter->text(QAccessible::Description), u"No sound from the microphone");
    model->setMicrophoneSilent(false);
    EXPECT_EQ(meter->text(QAccessible::Description), QString());
}

TEST_P(OneView, theHintOfADisplayIsReadAloudWhereThereIsOne) {
    for (const auto& [scene, hints] : {std::pair("setup", 0), std::pair("setup-hint", 1)}) {
        const auto shown = named(scene);
        const auto nodes = accessibleNodes(shown->windows().front());
        EXPECT_EQ(std::ranges::count_if(nodes,
                      [](QAccessibleInterface* node) {
                          return node->text(QAccessible::Name).startsWith(u"Your desktop will ask");
                      }),
            hints)
            << scene;
    }
}

TEST_P(OneView, returnPressesTheFocusedControlOrElseStarts) {
    const auto scene = named("setup-new-scenario");
    ViewWindow* window = scene->windows().front();
    auto* model = window->rootObject()->property("model").value<SetupModel*>();
    QStringList happened;
    model->onStart = [&](const SetupResult&) { happened << QStringLiteral("start"); };
    model->onCancel = [&] { happened << QStringLiteral("cancel"); };
    bool could = true;
    const QObject here; // the model may outlive this test
    QObject::connect(model, &SetupModel::canAddChanged, &here, [&] {
        const bool can = model->property("canAdd").toBool();
        if (std::exchange(could, can) && !can) // it is being added
            happened << QStringLiteral("add");
    });
    const auto list = [&] { return window->activeFocusItem()->property("popup").value<QObject*>(); };
    const struct {
        const char* control;
        const char* effect;
    } controls[] = {{"Project", "list"}, {"Scenario", "list"}, {"+ New scenario name", "start"},
        {"Add", "add"}, {"Capture", "list"}, {"App URL (optional)", "start"},
        {"Narrate with microphone", "start"}, {"Cancel", "cancel"}, {"Start", "start"}};
    for (const auto& [name, effect] : controls) {
        EXPECT_TRUE(waitUntil([&] { return focusedName(window) == QLatin1String(name); }))
            << name << ", the focus is on " << focusedName(window).toStdString();
        happened.clear();
        pressKey(window, Qt::Key_Return);
        if (list() && list()->property("visible").toBool()) {
            happened << QStringLiteral("list");
            pressKey(window, Qt::Key_Escape);
            EXPECT_TRUE(waitUntil([&] { return !list()->property("visible").toBool(); }));
        }
        EXPECT_TRUE(waitUntil([&] { return !happened.isEmpty(); })) << name;
        EXPECT_EQ(happened, QStringList(QLatin1String(effect))) << name;
        if (qstrcmp(effect, "add") != 0) // which is disabled now and passes the focus on
            pressKey(window, Qt::Key_Tab);
    }
    happened.clear();
    model->selectCapture(QStringLiteral("gone"));
    pressKey(window, Qt::Key_Return); // on the first control again
    pressKey(window, Qt::Key_Escape);
    pressKey(window, Qt::Key_Escape);
    EXPECT_EQ(happened, QStringList(QStringLiteral("cancel")));
}

TEST_P(OneView, anUnreachableServiceIsTriedAgainWithTheKeyboard) {
    const auto scene = named("setup-unreachable");
    ViewWindow* window = scene->windows().front();
    ASSERT_TRUE(waitUntil([&] { return window->isActive(); }));
    auto* model = window->rootObject()->property("model").value<SetupModel*>();
    const auto isAlert = [](QAccessibleInterface* node) { return node->role() == QAccessible::AlertMessage; };
    EXPECT_EQ(std::ranges::count_if(accessibleNodes(window), isAlert), 1);
    const auto isOnButton = [&] {
        return window->activeFocusItem()->property("text").toString() == u"Try Again";
    };
    for (int tabs = 0; tabs < 10 && !isOnButton(); ++tabs)
        pressKey(window, Qt::Key_Tab);
    ASSERT_TRUE(isOnButton());
    int loads = 0;
    const QObject here; // the model may outlive this test
    QObject::connect(model, &SetupModel::loadingChanged, &here, [&] { ++loads; });
    pressKey(window, Qt::Key_Space);
    EXPECT_TRUE(waitUntil([&] { return loads > 0; }));
    EXPECT_TRUE(isOnButton()) << "it failed again";

    scene->restoreService();
    pressKey(window, Qt::Key_Space);
    EXPECT_TRUE(waitUntil([&] { return model->serviceFailure().isEmpty(); }));
    EXPECT_EQ(window->activeFocusItem()->property("label").toString(), u"Project");
}

TEST_P(OneView, aListOnItsWayReadsAsLoading) {
    const auto scene = named("setup-loading");
    for (const char* list : {"Project", "Scenario", "Capture"})
        EXPECT_EQ(control(scene->windows().front(), list)->text(QAccessible::Description), u"Loading…");
}

INSTANTIATE_TEST_SUITE_P(OrdinaryText, OneView, testing::Values(10));
