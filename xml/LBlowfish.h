// LBlowfish.h: the Blowfish block cipher (64-bit blocks, keys of 1 to 56
// bytes) as the settings store uses it to encipher password fields.
//
// Blocks are given as two 32-bit halves; how bytes map to halves is the
// caller's choice (the settings store reads them in the machine's
// little-endian order).
//
// Thread safety: a cipher object is read-only after SetKey and may then be
// used from several threads; SetKey itself must not race with use.
#ifndef HARLUNE_XML_LBLOWFISH_H
#define HARLUNE_XML_LBLOWFISH_H

#include <cstddef>
#include <cstdint>

// The published initial tables: the hexadecimal digits of pi.
extern const uint32_t kLBlowfishInitP[18];
extern const uint32_t kLBlowfishInitS[4][256];

class LBlowfish {
public:
    // The published key schedule: key bytes taken cyclically, four per
    // P-array entry in big-endian order, then the tables replaced by
    // enciphering zero blocks in chain. An empty key leaves the cipher
    // with the initial tables.
    void SetKey(const uint8_t* pKey, size_t nKeyLength);
    void Encipher(uint32_t& nLeft, uint32_t& nRight) const;
    void Decipher(uint32_t& nLeft, uint32_t& nRight) const;

private:
    uint32_t F(uint32_t x) const {
        return ((arS[0][x >> 24] + arS[1][(x >> 16) & 0xFF]) ^ arS[2][(x >> 8) & 0xFF]) + arS[3][x & 0xFF];
    }
    uint32_t arP[18];     // subkeys
    uint32_t arS[4][256]; // S-boxes
};

#endif
