#pragma once
// Hooks for the tests and benchmarks of the sound layer; the game itself never calls them.

#include "directsound.h"

#include <optional>
#include <string>
#include <vector>

namespace dx::test {

struct LoopbackFormat {
    int sampleRate = 22050;
    int channels = 1; // 1 or 2; output samples are floats
};
// While set, DirectSoundCreate("") opens OpenAL Soft's loopback device in this format, which
// renders only when asked, through Render.
void UseLoopbackDevice(std::optional<LoopbackFormat> format);
// While set, DirectSoundCreate("") asks OpenAL for this device name instead of the default:
// a name the driver does not know makes the open fail exactly as with no device at all.
void OverrideDeviceName(std::optional<std::string> name);

// The next `frames` frames of a loopback device's mix, interleaved floats.
std::vector<float> Render(const DirectSound& sound, int frames);
// False while the device is paused because nothing plays.
bool Mixing(const DirectSound& sound);

} // namespace dx::test
