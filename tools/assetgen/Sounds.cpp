#include "Sounds.h"
#include "FileWriters.h"
#include "Rng.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>

namespace {

using Sounds::Samples;
constexpr double Pi = std::numbers::pi;
constexpr double Rate = FileWriters::SampleRate;

Samples Silence(double seconds) {
    return Samples(static_cast<std::size_t>(seconds * Rate), 0.0);
}
double Time(std::size_t i) {
    return static_cast<double>(i) / Rate;
}
std::size_t At(double seconds) {
    return static_cast<std::size_t>(seconds * Rate);
}

class LowPass {
  public:
    double operator()(double x, double cutoff) {
        const double a = 1.0 - std::exp(-2.0 * Pi * cutoff / Rate);
        y_ += a * (x - y_);
        return y_;
    }

  private:
    double y_ = 0.0;
};

class HighPass {
  public:
    double operator()(double x, double cutoff) { return x - low_(x, cutoff); }

  private:
    LowPass low_;
};

// Constant-peak band-pass, used for the formants of the calls.
class BandPass {
  public:
    BandPass(double centre, double q) {
        const double w = 2 * Pi * centre / Rate, alpha = std::sin(w) / (2 * q);
        const double a0 = 1 + alpha;
        b0_ = alpha / a0;
        b2_ = -alpha / a0;
        a1_ = -2 * std::cos(w) / a0;
        a2_ = (1 - alpha) / a0;
    }
    double operator()(double x) {
        const double y = b0_ * x + b2_ * x2_ - a1_ * y1_ - a2_ * y2_;
        x2_ = x1_;
        x1_ = x;
        y2_ = y1_;
        y1_ = y;
        return y;
    }

  private:
    double b0_, b2_, a1_, a2_;
    double x1_ = 0, x2_ = 0, y1_ = 0, y2_ = 0;
};

class Oscillator {
  public:
    double sine(double freq) { return std::sin(step(freq)); }
    // A band-limited-enough sawtooth from a few harmonics, rough like a bird's syrinx.
    double buzz(double freq, int harmonics) {
        const double ph = step(freq);
        double s = 0;
        for (int k = 1; k <= harmonics && k * freq < Rate / 2.2; ++k)
            s += std::sin(k * ph) / k;
        return s * 0.6;
    }

  private:
    double step(double freq) {
        phase_ += 2 * Pi * freq / Rate;
        if (phase_ > 2 * Pi * 64) phase_ -= 2 * Pi * 64;
        return phase_;
    }
    double phase_ = 0.0;
};

// Rises over `attack` seconds, then falls away exponentially with time constant `decay`.
double Envelope(double t, double attack, double decay) {
    if (t < 0) return 0;
    if (t < attack) return t / attack;
    return std::exp(-(t - attack) / decay);
}

// A smooth bump from 0 up to 1 and back over [start, start + length].
double Bump(double t, double start, double length) {
    if (t < start || t > start + length) return 0;
    return std::sin(Pi * (t - start) / length);
}

void Add(Samples& into, const Samples& from, double at, double gain = 1.0) {
    const std::size_t offset = At(at);
    for (std::size_t i = 0; i < from.size() && offset + i < into.size(); ++i)
        into[offset + i] += gain * from[i];
}

// A metallic click: a very short noise tick that rings a few damped resonances.
Samples Click(std::uint64_t seed, std::initializer_list<double> modes, double ring) {
    Rng r(seed);
    Samples s = Silence(0.09);
    HighPass hp;
    std::vector<Oscillator> osc(modes.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = Time(i);
        double v = hp(r.bipolar(), 2500) * Envelope(t, 0.0003, 0.0025);
        std::size_t k = 0;
        for (double f : modes) {
            v += 0.35 * osc[k].sine(f) * Envelope(t, 0.0005, ring / (1 + 0.4 * k)) / (1 + 0.3 * k);
            ++k;
        }
        s[i] = v;
    }
    return s;
}

// One harsh syllable of a call: a buzzing source with jittered pitch through two formants.
Samples Syllable(std::uint64_t seed, double length, double f0Start, double f0End, double formant1,
                 double formant2, double roughness) {
    Rng r(seed);
    Samples s = Silence(length);
    Oscillator osc;
    BandPass b1(formant1, 3.0), b2(formant2, 4.0);
    LowPass jitter;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = Time(i), u = t / length;
        // Pitch rises at first, then sags: the shape of a caw.
        const double f0 = f0Start + (f0End - f0Start) * u + 0.15 * f0Start * std::sin(Pi * u);
        const double wobble = 1.0 + roughness * jitter(r.bipolar(), 60) * 4.0;
        // Breath noise only reaches the output through the formants, so the call is hoarse
        // without hissing.
        const double tone = osc.buzz(f0 * wobble, 14);
        const double src = tone + roughness * 0.35 * r.bipolar();
        const double env = std::pow(std::sin(Pi * u), 0.6);
        s[i] = (b1(src) * 1.6 + b2(src) * 1.1 + 0.2 * tone) * env;
    }
    return s;
}

// A pure whistled glide with one overtone, for chirps, trills and whistles.
Samples Glide(double length, const std::function<double(double)>& pitch,
              const std::function<double(double)>& loudness) {
    Samples s = Silence(length);
    Oscillator osc, over;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = Time(i), u = t / length;
        const double f = pitch(u);
        s[i] = loudness(u) * (osc.sine(f) + 0.18 * over.sine(2 * f));
    }
    return s;
}

// A blast: filtered noise whose brightness falls as it dies, over a low rumble.
struct Blast {
    double length, decay, brightStart, brightEnd, rumbleFreq, rumbleLevel, crackle;
    double secondHit; // seconds; 0 for none
    std::uint64_t seed;
};

Samples MakeBlast(const Blast& b) {
    Rng r(b.seed);
    Samples s = Silence(b.length);
    LowPass lp1, lp2, brown, rumbleLp;
    Oscillator rumble;
    double crackleLevel = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = Time(i);
        // With a second blast the first one is cut short, so the two are heard apart.
        double env = Envelope(t, 0.004, b.secondHit > 0 ? b.decay * 0.35 : b.decay);
        if (b.secondHit > 0) env = std::max(env, 0.9 * Envelope(t - b.secondHit, 0.006, b.decay));
        const double bright = b.brightEnd + (b.brightStart - b.brightEnd) * std::exp(-t / 0.12);
        const double n = r.bipolar();
        const double body = lp2(lp1(n, bright), bright) * 2.2;
        const double low = brown(n, 90) * 9.0;
        double boomEnv = Envelope(t, 0.006, b.decay * (b.secondHit > 0 ? 0.4 : 1.4));
        if (b.secondHit > 0)
            boomEnv = std::max(boomEnv, Envelope(t - b.secondHit, 0.006, b.decay * 1.4));
        const double boom =
            rumble.sine(b.rumbleFreq * (1.0 + 0.8 * std::exp(-t / 0.08))) * boomEnv * b.rumbleLevel;
        if (r.uniform() < b.crackle * std::exp(-t / (b.decay * 2)))
            crackleLevel =
                r.range(0.3, 1.0) * std::exp(-t / (b.decay * 2.5)) * (r.uniform() < 0.5 ? -1 : 1);
        crackleLevel *= 0.93;
        s[i] = env * (body + low) + boom + rumbleLp(crackleLevel, 3500) * 1.2;
    }
    return s;
}

} // namespace

namespace Sounds {

double Peak(const Samples& s) {
    double p = 0;
    for (double v : s)
        p = std::max(p, std::abs(v));
    return p;
}

double Rms(const Samples& s) {
    double sum = 0;
    for (double v : s)
        sum += v * v;
    return s.empty() ? 0 : std::sqrt(sum / static_cast<double>(s.size()));
}

void Finish(Samples& s, double fadeIn, double fadeOut, double relativeDb) {
    HighPass dc;
    for (double& v : s)
        v = dc(v, 25);
    const std::size_t in = At(fadeIn), out = At(fadeOut);
    for (std::size_t i = 0; i < s.size(); ++i) {
        double g = 1.0;
        if (i < in) g = std::sin(0.5 * Pi * static_cast<double>(i) / static_cast<double>(in));
        const std::size_t left = s.size() - 1 - i;
        if (left < out)
            g *= std::sin(0.5 * Pi * static_cast<double>(left) / static_cast<double>(out));
        s[i] *= g;
    }
    // Level by loudness, not peak, so that calls, shots and blasts sit together; peaks above
    // the ceiling are rounded off softly rather than clipped.
    const double ceiling = std::pow(10.0, -1.2 / 20);
    const double target = std::pow(10.0, (-18.0 + relativeDb) / 20);
    const auto limited = [&](double gain) {
        Samples o(s.size());
        const double knee = 0.6 * ceiling;
        for (std::size_t i = 0; i < s.size(); ++i) {
            const double v = s[i] * gain, a = std::abs(v);
            double y = a;
            if (a > knee) y = knee + (ceiling - knee) * std::tanh((a - knee) / (ceiling - knee));
            o[i] = std::copysign(y, v);
        }
        return o;
    };
    double lo = 0.0, hi = 64.0 / std::max(1e-9, Peak(s));
    for (int it = 0; it < 50; ++it) {
        const double mid = 0.5 * (lo + hi);
        (Rms(limited(mid)) < target ? lo : hi) = mid;
    }
    s = limited(lo);
}

Samples GunFire() {
    Rng r(0x6A1);
    Samples s = Silence(0.5);
    LowPass body, tail;
    HighPass crack;
    Oscillator thump;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = Time(i), n = r.bipolar();
        const double c = crack(n, 3000) * Envelope(t, 0.0002, 0.006) * 1.2;
        const double b = body(n, 400 + 4000 * std::exp(-t / 0.025)) * Envelope(t, 0.0005, 0.05) * 3;
        const double th = thump.sine(45 + 110 * std::exp(-t / 0.02)) * Envelope(t, 0.001, 0.06);
        const double tl = tail(n, 700) * Envelope(t, 0.01, 0.14) * 2.0;
        s[i] = c + b + 0.9 * th + tl;
    }
    Finish(s, 0.0005, 0.05);
    return s;
}

Samples GunCock() {
    Samples s = Silence(0.34);
    Add(s, Click(0xC1, {2150, 3720, 5930}, 0.018), 0.015);
    // The slide between the two clicks: a short, quiet metallic rasp.
    Rng r(0xC3);
    BandPass rasp(3200, 2.0);
    for (std::size_t i = At(0.05); i < At(0.15); ++i)
        s[i] += 0.12 * rasp(r.bipolar()) * Bump(Time(i), 0.05, 0.10);
    Add(s, Click(0xC2, {1780, 3310, 5120, 7400}, 0.024), 0.17, 1.2);
    Finish(s, 0.001, 0.03);
    return s;
}

Samples GunEmpty() {
    Samples s = Silence(0.12);
    Add(s, Click(0xE1, {1650, 4420}, 0.008), 0.004);
    Finish(s, 0.0005, 0.03, -6.0);
    return s;
}

Samples BirdCall(int n) {
    Samples s;
    switch (n) {
    case 1: { // two rasping caws
        s = Silence(0.66);
        Add(s, Syllable(0xB1, 0.26, 420, 360, 1100, 1750, 0.35), 0.02);
        Add(s, Syllable(0xB2, 0.30, 400, 330, 1050, 1700, 0.4), 0.34);
        break;
    }
    case 2: { // one long shrill squawk
        s = Silence(0.5);
        Add(s, Syllable(0xB3, 0.46, 780, 560, 1900, 3100, 0.6), 0.02);
        break;
    }
    case 3: { // a run of four bright chirps
        s = Silence(0.52);
        for (int k = 0; k < 4; ++k) {
            const double top = 4300 - 250 * k;
            Add(s,
                Glide(
                    0.07, [top](double u) { return 2600 + (top - 2600) * u; },
                    [](double u) { return std::sin(Pi * u); }),
                0.02 + 0.12 * k);
        }
        break;
    }
    case 4: { // a falling trill
        s = Silence(0.85);
        Add(s,
            Glide(
                0.8,
                [](double u) { return 3400 - 900 * u + 120 * std::sin(2 * Pi * 26 * u * 0.8); },
                [](double u) {
                    const double pulse = 0.5 + 0.5 * std::sin(2 * Pi * 26 * u * 0.8);
                    return pulse * pulse * std::pow(std::sin(Pi * u), 0.5);
                }),
            0.02);
        break;
    }
    case 5: { // a menacing falling screech
        s = Silence(0.95);
        Add(s, Syllable(0xB5, 0.9, 2100, 1300, 2600, 4200, 0.5), 0.02);
        break;
    }
    case 6: { // a cackle of short harsh notes
        s = Silence(0.6);
        for (int k = 0; k < 7; ++k)
            Add(s, Syllable(0xB60 + k, 0.05, 950 - 40 * k, 850 - 40 * k, 1500, 2500, 0.3),
                0.02 + 0.078 * k);
        break;
    }
    default: { // a rising then falling whistle
        s = Silence(0.72);
        Add(s,
            Glide(
                0.68,
                [](double u) {
                    return u < 0.45 ? 1500 + 1100 * (u / 0.45) : 2600 - 1400 * ((u - 0.45) / 0.55);
                },
                [](double u) { return std::pow(std::sin(Pi * u), 0.7) * (1 - 0.4 * u); }),
            0.02);
        break;
    }
    }
    Finish(s, 0.008, 0.04);
    return s;
}

Samples Explosion(int n) {
    static const Blast blasts[] = {
        {1.2, 0.28, 3200, 220, 48, 0.9, 0.002, 0.0, 0xEB1},  // a full, round boom
        {0.9, 0.18, 6000, 700, 62, 0.6, 0.02, 0.0, 0xEB2},   // bright, crackling
        {1.4, 0.32, 2200, 160, 38, 1.1, 0.004, 0.30, 0xEB3}, // a double, deep rumble
        {0.7, 0.10, 8000, 900, 70, 0.5, 0.01, 0.0, 0xEB4},   // a short sharp pop
    };
    Samples s = MakeBlast(blasts[std::clamp(n, 1, 4) - 1]);
    Finish(s, 0.001, 0.08);
    return s;
}

} // namespace Sounds
