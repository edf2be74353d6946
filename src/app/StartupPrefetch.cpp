#include "StartupPrefetch.h"

#include "AssetNames.h"
#include "directsound.h"
#include "gdi.h"

#include <QFileInfo>
#include <fontconfig/fontconfig.h>
#include <vector>

namespace {

// The program's directory as the runtime will name it once the toolkit runs; should the two
// ever differ, the readers simply find nothing ahead.
QString programDirectory() {
    return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath().section(u'/', 0, -2);
}

} // namespace

StartupPrefetch::StartupPrefetch() {
    const QString base = programDirectory();
    const auto full = [&](const QString& relative) { return runtime::JoinPath(base, relative); };

    std::vector<QString> pictures{full(AssetNames::BackGround)};
    const QString picture = QStringLiteral(".bmp"), mask = QStringLiteral("mask.bmp");
    for (int n = 1; n <= 5; ++n)
        for (const QString& suffix : {picture, mask})
            pictures.insert(pictures.end(), {full(AssetNames::BirdFrame(u'L', n, suffix)),
                                             full(AssetNames::BirdFrame(u'R', n, suffix))});
    for (int n = 1; n <= 5; ++n)
        for (const QString& suffix : {picture, mask})
            pictures.push_back(full(AssetNames::ExplosionFrame(n, suffix)));
    pictures.insert(pictures.end(), {full(AssetNames::Title), full(AssetNames::TitleMask)});

    std::vector<QString> sounds{full(AssetNames::GunFire), full(AssetNames::GunCock),
                                full(AssetNames::GunEmpty)};
    for (int n = 1; n <= 7; ++n)
        sounds.push_back(full(AssetNames::BirdCall(n)));
    for (int n = 1; n <= 4; ++n)
        sounds.push_back(full(AssetNames::ExplosionSound(n)));

    gdi::AnnounceBitmapFiles(pictures);
    dx::AnnounceStartup(true, sounds);
    // One thread beside the main one: on two cores a third would only slow the main thread.
    // The device first, as the load needs it first and it takes longest.
    thread_ = std::thread([this] {
        dx::PrefetchDevice();
        // The font configuration, which the toolkit otherwise reads on the main thread as the
        // window first measures its text; this thread waits for the toolkit in the meantime.
        FcInit();
        {
            std::unique_lock g(lock_);
            started_.wait(g, [this] { return toolkit_; });
        }
        gdi::PrefetchBitmapFiles();
        dx::PrefetchWaveFiles();
    });
}

void StartupPrefetch::ToolkitStarted() {
    std::lock_guard g(lock_);
    toolkit_ = true;
    started_.notify_one();
}

StartupPrefetch::~StartupPrefetch() {
    ToolkitStarted();
    thread_.join();
    dx::DropPrefetched();
    gdi::DropPrefetchedBitmapFiles();
}
