#include <text/LRandomPassword.h>

#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

std::atomic<bool> gbLRandomizeCalled{false};

void randomize() {
    timeval tv{};
    gettimeofday(&tv, nullptr);
    const auto nMilliseconds = static_cast<uint32_t>(tv.tv_sec * 1000 + tv.tv_usec / 1000);
    srand(nMilliseconds ^ static_cast<uint32_t>(getpid()) ^ static_cast<uint32_t>(time(nullptr)));
    gbLRandomizeCalled = true;
}

namespace {

/* One random value below nRange, seeding first if nobody has. */
int NextRandom(int nRange) {
    if (!gbLRandomizeCalled) {
        randomize();
    }
    return rand() % nRange;
}

/* Digits, then lower-case, then upper-case letters: the alphabets below are
 * prefixes of it. */
constexpr char kAlphabet[] = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

void Generate(char *out, unsigned long length, const char *szAlphabet, int nRange) {
    if (!out) {
        return;
    }
    for (unsigned long i = 0; i < length; ++i) {
        out[i] = szAlphabet[NextRandom(nRange)];
    }
    out[length] = 0;
}

}  // namespace

void LStringGenerateRandomPassword(char *out, unsigned long length) { Generate(out, length, kAlphabet + 10, 26); }

void LStringGenerateRandomPasswordAlphaNumCI(char *out, unsigned long length) { Generate(out, length, kAlphabet, 36); }

void LStringGenerateRandomPasswordAlphaNumCS(char *out, unsigned long length) { Generate(out, length, kAlphabet, 62); }
