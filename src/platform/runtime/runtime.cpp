#include "runtimetest.h"

#include <QApplication>
#include <QFileInfo>
#include <QInputDialog>
#include <QMessageBox>
#include <QTime>
#include <QWidget>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>

namespace runtime {

namespace {
std::mt19937& generator() {
    static std::mt19937 gen(12345u);
    return gen;
}
QString& appPathOverride() {
    static QString path;
    return path;
}
MsgBoxHook& msgBoxHook() {
    static MsgBoxHook hook;
    return hook;
}
InputBoxHook& inputBoxHook() {
    static InputBoxHook hook;
    return hook;
}
EndHook& endHook() {
    static EndHook hook;
    return hook;
}
QWidget* dialogParent() {
    return QApplication::activeWindow();
}
} // namespace

RuntimeError::RuntimeError(Long number, const QString& description)
    : std::runtime_error(description.toStdString()), number_(number), description_(description) {}

Single Rnd() {
    // 24 random bits fill a float's mantissa exactly, so the result is never 1.
    return static_cast<Single>(generator()() >> 8) * (1.0f / 16777216.0f);
}

void Randomize(Single seed) {
    std::uint32_t bits = 0;
    static_assert(sizeof bits == sizeof seed);
    std::memcpy(&bits, &seed, sizeof bits);
    generator().seed(bits ^ 0x9E3779B9u);
}

void SeedRandom(std::uint32_t seed) {
    generator().seed(seed);
}

Integer CInt(double value) {
    const double r = std::nearbyint(value);
    if (!(r >= std::numeric_limits<Integer>::min() && r <= std::numeric_limits<Integer>::max()))
        throw RuntimeError(ErrOverflow, QStringLiteral("Overflow"));
    return static_cast<Integer>(r);
}

Long CLng(double value) {
    const double r = std::nearbyint(value);
    if (!(r >= std::numeric_limits<Long>::min() && r <= std::numeric_limits<Long>::max()))
        throw RuntimeError(ErrOverflow, QStringLiteral("Overflow"));
    return static_cast<Long>(r);
}

Single Timer() {
    return static_cast<Single>(QTime::currentTime().msecsSinceStartOfDay()) / 1000.0f;
}

QString AppPath() {
    if (!appPathOverride().isEmpty()) return appPathOverride();
    // The program file's own directory, links resolved; read without the toolkit, since an
    // installed game needs it before its application object exists.
    static const QString dir = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalPath();
    return dir;
}

void SetAppPath(const QString& path) {
    appPathOverride() = path;
}

QString JoinPath(const QString& base, const QString& relative) {
    QString rel = relative;
    rel.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return base + rel;
}

void MsgBox(const QString& prompt, int style) {
    if (msgBoxHook()) {
        msgBoxHook()(prompt, style);
        return;
    }
    QMessageBox box(style == vbCritical ? QMessageBox::Critical : QMessageBox::NoIcon,
                    QString::fromLatin1(Title), prompt, QMessageBox::Ok, dialogParent());
    box.setTextFormat(Qt::PlainText); // never markup, whatever a message quotes
    box.exec();
}

QString InputBox(const QString& prompt, const QString& title) {
    if (inputBoxHook()) return inputBoxHook()(prompt, title);
    QInputDialog dialog(dialogParent());
    dialog.setWindowTitle(title);
    dialog.setLabelText(prompt);
    dialog.setInputMode(QInputDialog::TextInput);
    if (dialog.exec() != QDialog::Accepted) return QString();
    return dialog.textValue();
}

void SetMsgBoxHook(MsgBoxHook hook) {
    msgBoxHook() = std::move(hook);
}
void SetInputBoxHook(InputBoxHook hook) {
    inputBoxHook() = std::move(hook);
}

void End(int status) {
    if (endHook()) {
        endHook()(status);
        throw ProgramEnded{};
    }
    // At once: no destructor, no close handling, no sound release.
    std::fflush(nullptr);
    std::_Exit(status);
}

void SetEndHook(EndHook hook) {
    endHook() = std::move(hook);
}

void Guard(const std::function<void()>& handler) {
    try {
        handler();
    } catch (const ProgramEnded&) {
    } catch (const RuntimeError& e) {
        try {
            MsgBox(
                QStringLiteral("Run-time error '%1':\n\n%2").arg(e.number()).arg(e.description()),
                vbCritical);
            End(1);
        } catch (const ProgramEnded&) {
        }
    } catch (const std::exception& e) {
        try {
            MsgBox(QStringLiteral("Run-time error:\n\n%1").arg(QString::fromLocal8Bit(e.what())),
                   vbCritical);
            End(1);
        } catch (const ProgramEnded&) {
        }
    }
}

} // namespace runtime
