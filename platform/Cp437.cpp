#include "platform/Cp437.h"

#include <array>

namespace {
const char16_t kUpperHalf[] = u"ÇüéâäàåçêëèïîìÄÅÉæÆôöòûùÿÖÜ¢£¥₧ƒáíóúñÑªº¿⌐¬½¼¡«»"
                              u"░▒▓│┤╡╢╖╕╣║╗╝╜╛┐└┴┬├─┼╞╟╚╔╩╦╠═╬╧╨╤╥╙╘╒╓╫╪┘┌█▄▌▐▀"
                              u"αßΓπΣσµτΦΘΩδ∞φε∩≡±≥≤⌠⌡÷≈°∙·√ⁿ²■\u00A0";
static_assert(sizeof(kUpperHalf) / sizeof(char16_t) == 129, "CP437 upper half has 128 entries");
} // namespace

namespace cp437 {

QString toUnicode(const QByteArray& bytes) {
    QString out;
    out.reserve(bytes.size());
    for (char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        out.append(b < 0x80 ? QChar(b) : QChar(kUpperHalf[b - 0x80]));
    }
    return out;
}

QByteArray fromUnicode(const QString& text) {
    QByteArray out;
    out.reserve(text.size());
    for (QChar ch : text) {
        if (ch.unicode() < 0x80) {
            out.append(static_cast<char>(ch.unicode()));
            continue;
        }
        char mapped = '?';
        for (int i = 0; i < 128; ++i) {
            if (kUpperHalf[i] == ch.unicode()) {
                mapped = static_cast<char>(0x80 + i);
                break;
            }
        }
        out.append(mapped);
    }
    return out;
}

} // namespace cp437
