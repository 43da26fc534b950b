#pragma once

#include "tests/e2e/panel.h"
#include "tests/e2e/simulated_module.h"

#include <QDir>
#include <QRadioButton>

#include <memory>

inline QByteArray read_file(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A test with a window attached to a module of its own, and remote devices around it.
class RemoteFixture : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void initTestCase()
    {
        register_meta_types();
        QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
        QVERIFY(QDir().mkpath(QStringLiteral(VORSEL_PICTURES)));
    }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            qWarning("the module's log ends with\n%s", module.output().right(4000).constData());
        window.reset();
        module.stop();
    }

protected:
    void start(const QStringList &options = {})
    {
        QVERIFY(module.start(options));
        window = std::make_unique<Window>();
        QVERIFY(window->is_exposed());
        window->attach();
    }

    void scan_for(const QString &name)
    {
        window->find<QRadioButton>("radioScanObservation")->click();
        window->click("pushStartScan");
        QTRY_VERIFY2_WITH_TIMEOUT(Panel(*window, name).exists(), qPrintable(name), answer_ms);
    }

    void connect_to(const QString &name)
    {
        window->click("pushStopScan");
        Panel panel(*window, name);
        panel.click("pushConnect");
        QTRY_COMPARE_WITH_TIMEOUT(panel.status(), QStringLiteral("Connected handle:0x0"), answer_ms);
        QCOMPARE(panel.find<QPushButton>("pushConnect")->text(), QStringLiteral("Disconnect"));
    }

    void picture(QWidget *widget, const char *name)
    {
        QVERIFY(widget->grab().save(QStringLiteral(VORSEL_PICTURES "/%1.png").arg(QLatin1String(name))));
    }
    void picture(const char *name) { picture(&window->widget(), name); }

    // What the module wrote of its traffic, "<-" from the host and "->" to it.
    bool on_wire(const char *text) { return module.output().contains(text); }
    bool logged(const char *text)
    {
        return window->log().join(QLatin1Char('\n')).contains(QLatin1String(text));
    }

    SimulatedModule module;
    std::unique_ptr<Window> window;
};
