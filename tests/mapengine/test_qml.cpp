#include <gtest/gtest.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <QtQml/qqmlextensionplugin.h>

#include "render_fixture.h"

Q_IMPORT_QML_PLUGIN(Zenloft_MapPlugin)

namespace {

TEST(MapQml, ModuleImportsAndMakesAMapView) {
    zltest::ServicesWithKey services;
    zltest::LogCapture log;
    QQmlEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/"));
    QQmlComponent c(&engine);
    c.setData("import QtQuick\nimport Zenloft.Map\nItem { width: 200; height: 100\n"
              "  GMSMapView { objectName: \"map\"; anchors.fill: parent; mapType: 4 } }",
              QUrl());
    std::unique_ptr<QObject> root(c.create());
    ASSERT_TRUE(root) << c.errorString().toStdString();
    auto* map = root->findChild<GMSMapView*>("map");
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->mapType(), 4);
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}

}  // namespace
