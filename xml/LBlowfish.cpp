// LBlowfish.cpp: Blowfish rounds and key schedule.
#include "xml/LBlowfish.h"

#include <cstring>
#include <utility>

void LBlowfish::SetKey(const uint8_t* pKey, size_t nKeyLength) {
    std::memcpy(arP, kLBlowfishInitP, sizeof(arP));
    std::memcpy(arS, kLBlowfishInitS, sizeof(arS));
    if (pKey == nullptr || nKeyLength == 0) {
        return;
    }
    size_t j = 0;
    for (uint32_t& nSubkey : arP) {
        uint32_t nData = 0;
        for (int k = 0; k < 4; ++k) {
            nData = (nData << 8) | pKey[j];
            j = (j + 1) % nKeyLength;
        }
        nSubkey ^= nData;
    }
    uint32_t nLeft = 0;
    uint32_t nRight = 0;
    for (int i = 0; i < 18; i += 2) {
        Encipher(nLeft, nRight);
        arP[i] = nLeft;
        arP[i + 1] = nRight;
    }
    for (auto& arBox : arS) {
        for (int i = 0; i < 256; i += 2) {
            Encipher(nLeft, nRight);
            arBox[i] = nLeft;
            arBox[i + 1] = nRight;
        }
    }
}

void LBlowfish::Encipher(uint32_t& nLeft, uint32_t& nRight) const {
    uint32_t l = nLeft;
    uint32_t r = nRight;
    for (int i = 0; i < 16; ++i) {
        l ^= arP[i];
        r ^= F(l);
        std::swap(l, r);
    }
    std::swap(l, r);
    r ^= arP[16];
    l ^= arP[17];
    nLeft = l;
    nRight = r;
}

void LBlowfish::Decipher(uint32_t& nLeft, uint32_t& nRight) const {
    uint32_t l = nLeft;
    uint32_t r = nRight;
    for (int i = 17; i > 1; --i) {
        l ^= arP[i];
        r ^= F(l);
        std::swap(l, r);
    }
    std::swap(l, r);
    r ^= arP[1];
    l ^= arP[0];
    nLeft = l;
    nRight = r;
}
