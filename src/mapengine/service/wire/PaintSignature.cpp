#include "PaintSignature.h"

#include <cstring>

namespace zenloft::wire {

namespace {

constexpr std::uint32_t kRoundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr std::uint32_t rotr(std::uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }

class Sha256 {
public:
    void update(std::string_view data)
    {
        for (unsigned char c : data) {
            m_block[m_used++] = c;
            if (m_used == 64) {
                compress();
                m_used = 0;
            }
        }
        m_length += data.size();
    }

    Sha256Digest finish()
    {
        const std::uint64_t bits = m_length * 8;
        const std::string_view one("\x80", 1);
        update(one);
        static const char zeros[64] = {};
        const std::size_t pad = (m_used <= 56 ? 56 - m_used : 120 - m_used);
        update(std::string_view(zeros, pad));
        char len[8];
        for (int i = 0; i < 8; ++i)
            len[i] = static_cast<char>(bits >> (56 - 8 * i));
        update(std::string_view(len, 8));
        Sha256Digest out{};
        for (int i = 0; i < 8; ++i)
            for (int b = 0; b < 4; ++b)
                out[static_cast<std::size_t>(4 * i + b)] = static_cast<std::uint8_t>(m_state[i] >> (24 - 8 * b));
        return out;
    }

private:
    void compress()
    {
        std::uint32_t w[64];
        for (int i = 0; i < 16; ++i)
            w[i] = std::uint32_t(m_block[4 * i]) << 24 | std::uint32_t(m_block[4 * i + 1]) << 16 |
                   std::uint32_t(m_block[4 * i + 2]) << 8 | std::uint32_t(m_block[4 * i + 3]);
        for (int i = 16; i < 64; ++i) {
            const std::uint32_t s0 = rotr(w[i - 15], 7) ^ rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
            const std::uint32_t s1 = rotr(w[i - 2], 17) ^ rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
            w[i] = w[i - 16] + s0 + w[i - 7] + s1;
        }
        std::uint32_t a = m_state[0], b = m_state[1], c = m_state[2], d = m_state[3];
        std::uint32_t e = m_state[4], f = m_state[5], g = m_state[6], h = m_state[7];
        for (int i = 0; i < 64; ++i) {
            const std::uint32_t t1 = h + (rotr(e, 6) ^ rotr(e, 11) ^ rotr(e, 25)) + ((e & f) ^ (~e & g)) +
                                     kRoundConstants[i] + w[i];
            const std::uint32_t t2 = (rotr(a, 2) ^ rotr(a, 13) ^ rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
            h = g;
            g = f;
            f = e;
            e = d + t1;
            d = c;
            c = b;
            b = a;
            a = t1 + t2;
        }
        m_state[0] += a;
        m_state[1] += b;
        m_state[2] += c;
        m_state[3] += d;
        m_state[4] += e;
        m_state[5] += f;
        m_state[6] += g;
        m_state[7] += h;
    }

    std::uint32_t m_state[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    unsigned char m_block[64] = {};
    std::size_t m_used = 0;
    std::uint64_t m_length = 0;
};

}  // namespace

Sha256Digest sha256(std::string_view data)
{
    Sha256 h;
    h.update(data);
    return h.finish();
}

Sha256Digest hmacSha256(std::string_view key, std::string_view message)
{
    char block[64] = {};
    if (key.size() > 64) {
        const Sha256Digest k = sha256(key);
        std::memcpy(block, k.data(), k.size());
    } else {
        std::memcpy(block, key.data(), key.size());
    }
    char inner[64];
    char outer[64];
    for (int i = 0; i < 64; ++i) {
        inner[i] = static_cast<char>(block[i] ^ 0x36);
        outer[i] = static_cast<char>(block[i] ^ 0x5c);
    }
    Sha256 in;
    in.update(std::string_view(inner, 64));
    in.update(message);
    const Sha256Digest innerDigest = in.finish();
    Sha256 out;
    out.update(std::string_view(outer, 64));
    out.update(std::string_view(reinterpret_cast<const char*>(innerDigest.data()), innerDigest.size()));
    return out.finish();
}

std::string toHex(const Sha256Digest& digest)
{
    static const char* digits = "0123456789abcdef";
    std::string s;
    s.reserve(64);
    for (std::uint8_t b : digest) {
        s.push_back(digits[b >> 4]);
        s.push_back(digits[b & 15]);
    }
    return s;
}

std::string paintSignature(std::string_view key, std::string_view body)
{
    return toHex(hmacSha256(key, body));
}

bool paintSignatureMatches(std::string_view key, std::string_view body, std::string_view signature)
{
    const std::string expected = paintSignature(key, body);
    if (signature.size() != expected.size())
        return false;
    unsigned char diff = 0;
    for (std::size_t i = 0; i < expected.size(); ++i)
        diff |= static_cast<unsigned char>(expected[i] ^ signature[i]);
    return diff == 0;
}

}  // namespace zenloft::wire
