// Times whole game frames through GameScreen (background in, ten masked birds, frame out)
// against memcpy of the same number of bytes, in the same run.

#include "GameScreen.h"
#include "MemoryDC.h"
#include "picturebox.h"

#include <QApplication>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

QImage noise(int w, int h, quint32 seed) {
    QRandomGenerator rng(seed);
    QImage img(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.setPixel(x, y, rng.generate() | 0xFF000000u);
    return img;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Keeps the compiler from dropping copies whose results nobody reads.
void clobber(void* p) {
    asm volatile("" : : "g"(p) : "memory");
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int frames = argc > 1 ? std::max(10, std::atoi(argv[1])) : 3000;

    QTemporaryDir dir;
    const QString bg = dir.filePath("BackGround.bmp"), pic = dir.filePath("bird.bmp"),
                  msk = dir.filePath("birdmask.bmp");
    noise(600, 400, 1).save(bg, "BMP");
    noise(140, 148, 2).save(pic, "BMP");
    noise(140, 148, 3).save(msk, "BMP");

    PictureBox front, back;
    front.setBorder3D(true);
    front.setAutoSize(true);
    front.setPicture(noise(600, 400, 4));
    back.setAutoSize(true);
    back.setPicture(noise(600, 400, 5));
    GameScreen screen;
    screen.load(front, back, bg);
    MemoryDC sprite, mask;
    sprite.load(pic, 140, 148);
    mask.load(msk, 140, 148);
    if (!sprite.HDC() || !mask.HDC()) {
        std::fprintf(stderr, "bench_frame: pictures did not load\n");
        return 1;
    }

    // Birds anywhere a bird can be, partly off the field included.
    QRandomGenerator rng(9);
    std::vector<std::pair<short, short>> at(1024);
    for (auto& p : at)
        p = {short(rng.bounded(-70, 600)), short(rng.bounded(-74, 400))};

    const std::size_t full = 600 * 400 * 4, bird = 140 * 148 * 4;
    std::vector<char> a(full), b(full), c(full), s(bird);
    std::vector<double> frameUs, floorUs;
    frameUs.reserve(frames);
    floorUs.reserve(frames);
    std::size_t k = 0;
    for (int f = 0; f < frames; ++f) {
        auto t0 = Clock::now();
        screen.clearBuffer();
        for (int i = 0; i < 10; ++i, k = (k + 1) % at.size())
            screen.draw(sprite, mask, at[k].first, at[k].second);
        screen.drawBuffer();
        auto t1 = Clock::now();
        frameUs.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());

        // The same bytes moved by plain copies: two full frames and twenty bird-sized ones.
        t0 = Clock::now();
        std::memcpy(b.data(), a.data(), full);
        for (int i = 0; i < 20; ++i)
            std::memcpy(b.data() + (i * 41 % 11) * bird, s.data(), bird);
        std::memcpy(c.data(), b.data(), full);
        clobber(c.data());
        t1 = Clock::now();
        floorUs.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }

    const double frame = median(frameUs), floor = median(floorUs);
    std::printf("frames: %d (600x400 background, 10 masked 140x148 birds, copy to screen)\n",
                frames);
    std::printf("median frame:  %8.1f us\n", frame);
    std::printf("memcpy floor:  %8.1f us (%zu bytes)\n", floor, 2 * full + 20 * bird);
    std::printf("ratio:         %8.2f\n", frame / floor);
    return 0;
}
