// What a firmware update costs: reading the image beside another program that reads and writes it, and the
// uploads, exchanges a second, beside two threads that pass bytes over a bare pseudo-terminal. A line a
// figure on standard output; ends with 1 if a figure misses its budget.

#include "bench/common/bare_exchange.h"
#include "bench/common/figure.h"
#include "firmware/dfudialog.h"
#include "logview/logview.h"
#include "tests/e2e/simulated_module.h"
#include "tests/support/remote.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <functional>

namespace {

constexpr int rounds = 5;
constexpr int uartChunk = 64;
constexpr int loadAddress = 0x1000;

bool allWithin = true;

// The event loop as the program has it, from the click to the signal that says whether it goes on.
double runMs(QPushButton *start, QEventLoop &loop)
{
    QTimer::singleShot(60000, &loop, [] { qFatal("an upload takes over a minute"); });
    QElapsedTimer clock;
    clock.start();
    start->click();
    loop.exec();
    return double(clock.nsecsElapsed()) / 1e6;
}

double elapsedMs(const std::function<void()> &work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    return double(clock.nsecsElapsed()) / 1e6;
}

class Files
{
public:
    QString path(const char *name) const { return folder.filePath(QLatin1String(name)); }

    // An image of that size, which is also written as "image.bin" and, in hex, as "image.hex".
    void write(int size) const
    {
        QFile binary(path("image.bin"));
        QByteArray image(size, '\0');
        for (int i = 0; i < size; ++i)
            image[i] = char(uint(i) * 2654435761U >> 24);
        if (!binary.open(QIODevice::WriteOnly) || binary.write(image) != size)
            qFatal("no image written");
        binary.close();
        convert({path("image.bin"), QStringLiteral("-binary")}, "image.hex");
    }

    void convert(const QStringList &from, const char *to) const
    {
        const QStringList into = {QStringLiteral("-o"), path(to), QStringLiteral("-intel")};
        if (QProcess::execute(QStringLiteral("srec_cat"), from + into) != 0)
            qFatal("srec_cat does not do it");
    }

private:
    QTemporaryDir folder;
};

void measureLoading(const Files &files)
{
    files.write(1 << 20);
    cls_ble engine;
    DFUDialog dialog(&engine);
    std::vector<double> ours, other, ratios;
    for (int i = 0; i < rounds; ++i) {
        ours.push_back(elapsedMs([&] {
            if (!dialog.loadHexFile(files.path("image.hex")))
                qFatal("the image does not load");
        }));
        other.push_back(elapsedMs([&] {
            files.convert({files.path("image.hex"), QStringLiteral("-intel")}, "copy.hex");
        }));
        ratios.push_back(ours.back() / other.back());
    }
    const bool fast = printLimited("hex_load_1_mib_ms", median(ours), 100);
    allWithin = printFigure("hex_load_1_mib_beside_srec_cat_ms", median(ours), median(other), median(ratios),
                            Budget::atMost, 1) &&
                fast && allWithin;
}

// A window with the update dialog open, attached to a module.
class Upload
{
public:
    explicit Upload(const Files &chosen)
        : files(chosen)
    {
        if (!module.start({QStringLiteral("--quiet"), QStringLiteral("--erase-time"), QStringLiteral("0")}))
            qFatal("the simulated module does not start");
        window = std::make_unique<Window>();
        window->attach();
        window->trigger("actionDFU");
        dialog = window->widget().findChild<DFUDialog *>();
    }

    // Exchanges a second of an upload over the serial link.
    double byUart()
    {
        find<QPushButton>("pushButton")->click();
        waitUntil([this] { return logged("ble_evt_dfu_boot"); });
        find<QLineEdit>("fileEdit")->setText(files.path("image.hex"));
        const auto *progress = find<QLabel>("infoText");
        QEventLoop loop;
        // The log is switched off by the first answer, and on again by the last.
        QObject::connect(window->find<QCheckBox>("checkLogHex"), &QCheckBox::toggled, &loop, [&](bool on) {
            if (on)
                loop.quit();
        });
        const double ms = runMs(find<QPushButton>("uploadButton"), loop);
        if (!progress->text().startsWith(QStringLiteral("Loaded:%1/").arg(uartSize - loadAddress)))
            qFatal("the upload broke off: %s", qPrintable(progress->text()));
        return double(uartSize - loadAddress) / uartChunk / ms * 1000;
    }

    // The same over the air, to a connected device.
    double overTheAir()
    {
        const auto name = QStringLiteral("Updatable");
        if (!scanFor(*window, name) || !connectTo(*window, name))
            qFatal("no connection");
        Panel(*window, name).find<QPushButton>("pushGATTDescriptors")->click();
        waitUntil([this] { return logged("ble_evt_attclient_procedure_completed"); });
        find<QLineEdit>("fileOTAEdit")->setText(files.path("image.bin"));
        const auto *progress = find<QLabel>("labelOTAState");
        QEventLoop loop;
        QObject::connect(dialog, &DFUDialog::ota_running, &loop, [&](bool on) {
            if (!on)
                loop.quit();
        });
        const double ms = runMs(find<QPushButton>("pushOTAUpload"), loop);
        if (progress->text() != QStringLiteral("OTA Completed"))
            qFatal("the upload broke off: %s", qPrintable(progress->text()));
        constexpr int chunksABlock = 13; // of 256 bytes
        return double(airSize) / 256 * chunksABlock / ms * 1000;
    }

    // Some thousand exchanges each.
    static constexpr int uartSize = 448 * 1024;
    static constexpr int airSize = 128 * 1024;

private:
    template <typename Widget>
    Widget *find(const char *name) const
    {
        return dialog->findChild<Widget *>(QLatin1String(name));
    }

    bool logged(const char *text)
    {
        const auto &lines = window->find<LogView>("textDebug")->line_store;
        return std::any_of(lines.rbegin(), lines.rend(), [text](const QStringList &line) {
            return line.join(QString()).contains(QLatin1String(text));
        });
    }

    const Files &files;
    SimulatedModule module;
    std::unique_ptr<Window> window;
    DFUDialog *dialog = nullptr;
};

void measureUpload(const char *name, const Files &files, double (Upload::*upload)())
{
    std::vector<double> ours, bare, ratios;
    for (int i = 0; i < rounds; ++i) {
        bare.push_back(bareRate());
        ours.push_back((Upload(files).*upload)());
        ratios.push_back(ours.back() / bare.back());
    }
    allWithin =
        printFigure(name, median(ours), median(bare), median(ratios), Budget::atLeast, 0.5) && allWithin;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    register_meta_types();
    QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
    const Files files;
    measureLoading(files);
    files.write(Upload::uartSize);
    measureUpload("upload_by_uart_per_second", files, &Upload::byUart);
    files.write(Upload::airSize);
    measureUpload("upload_over_the_air_per_second", files, &Upload::overTheAir);
    return allWithin ? 0 : 1;
}
