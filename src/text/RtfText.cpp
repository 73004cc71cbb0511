#include "text/RtfText.h"

#include "text/CodePages.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Kerf::Rtf {
namespace {

// Nesting beyond this is still matched up but no longer tracked separately.
constexpr std::size_t kMaxDepth = 512;

struct GroupState {
    bool bSkip = false;
    bool bFontTable = false;
    bool bHtmlTag = false;
    bool bHtmlRtf = false;
    int iUnicodeSkip = 1;
    int iCodePage = 0; // 0: the document's code page
};

// Destinations whose content is not text of the body.
const std::set<std::string_view>& skippedDestinations() {
    static const std::set<std::string_view> names = {"annotation",
                                                     "atnauthor",
                                                     "atnid",
                                                     "author",
                                                     "blipuid",
                                                     "bkmkend",
                                                     "bkmkstart",
                                                     "colorschememapping",
                                                     "colortbl",
                                                     "comment",
                                                     "company",
                                                     "creatim",
                                                     "datastore",
                                                     "doccomm",
                                                     "fldinst",
                                                     "filetbl",
                                                     "footer",
                                                     "footerf",
                                                     "footerl",
                                                     "footerr",
                                                     "generator",
                                                     "header",
                                                     "headerf",
                                                     "headerl",
                                                     "headerr",
                                                     "info",
                                                     "keywords",
                                                     "latentstyles",
                                                     "listoverridetable",
                                                     "listtable",
                                                     "mhtmltag",
                                                     "mmathPr",
                                                     "nonshppict",
                                                     "object",
                                                     "objdata",
                                                     "operator",
                                                     "pict",
                                                     "pgdsctbl",
                                                     "printim",
                                                     "private",
                                                     "protusertbl",
                                                     "revtbl",
                                                     "revtim",
                                                     "rsidtbl",
                                                     "stylesheet",
                                                     "subject",
                                                     "themedata",
                                                     "title",
                                                     "userprops",
                                                     "xmlnstbl",
                                                     "xe",
                                                     "tc",
                                                     "txe"};
    return names;
}

int codePageOfCharset(int charset) {
    switch (charset) {
    case 77:
        return 10000;
    case 128:
        return 932;
    case 129:
        return 949;
    case 130:
        return 1361;
    case 134:
        return 936;
    case 136:
        return 950;
    case 161:
        return 1253;
    case 162:
        return 1254;
    case 163:
        return 1258;
    case 177:
        return 1255;
    case 178:
        return 1256;
    case 186:
        return 1257;
    case 204:
        return 1251;
    case 222:
        return 874;
    case 238:
        return 1250;
    case 255:
        return 437;
    default:
        return 0;
    }
}

class Extractor {
public:
    Extractor(std::string_view rtf, int codePage) : m_rtf(rtf), m_iDocumentCodePage(codePage) {
        m_states.emplace_back();
    }

    Extracted run() {
        while (m_iPos < m_rtf.size()) {
            const char c = m_rtf[m_iPos++];
            switch (c) {
            case '{':
                openGroup();
                break;
            case '}':
                closeGroup();
                break;
            case '\\':
                controlWord();
                break;
            case '\r':
            case '\n':
                break;
            default:
                m_bGroupStart = false;
                byte(static_cast<unsigned char>(c));
            }
        }
        flushBytes();
        return Extracted{m_bFromHtml, fixSurrogates(std::move(m_out))};
    }

private:
    GroupState& state() { return m_states.back(); }

    void openGroup() {
        flushBytes();
        if (m_states.size() < kMaxDepth)
            m_states.push_back(m_states.back());
        else
            ++m_iUntrackedDepth;
        m_bGroupStart = true;
        m_bStarred = false;
    }

    void closeGroup() {
        flushBytes();
        if (m_iUntrackedDepth > 0)
            --m_iUntrackedDepth;
        else if (m_states.size() > 1)
            m_states.pop_back();
        m_bGroupStart = false;
        m_iUnicodePending = 0;
    }

    // Output is wanted for this text in the current group and mode.
    bool emitting() {
        const GroupState& s = state();
        if (s.bSkip)
            return false;
        if (m_bFromHtml)
            return s.bHtmlTag || !s.bHtmlRtf;
        return true;
    }

    void byte(unsigned char c) {
        if (m_iUnicodePending > 0) {
            --m_iUnicodePending;
            return;
        }
        if (!emitting())
            return;
        const int codePage = currentCodePage();
        if (codePage != m_iBytesCodePage)
            flushBytes();
        m_iBytesCodePage = codePage;
        m_bytes.push_back(static_cast<char>(c));
    }

    void wide(wchar_t c) {
        if (!emitting())
            return;
        flushBytes();
        m_out.push_back(c);
    }

    void text(const wchar_t* s) {
        if (!emitting())
            return;
        flushBytes();
        m_out += s;
    }

    int currentCodePage() const {
        const int cp = m_states.back().iCodePage;
        return cp != 0 ? cp : m_iDocumentCodePage;
    }

    void flushBytes() {
        if (m_bytes.empty())
            return;
        m_out += CodePages::decode(m_bytes, m_iBytesCodePage);
        m_bytes.clear();
    }

    void controlWord() {
        if (m_iPos >= m_rtf.size())
            return;
        const char first = m_rtf[m_iPos];
        if (!isLetter(first)) {
            ++m_iPos;
            controlSymbol(first);
            return;
        }
        std::string_view word;
        const std::size_t start = m_iPos;
        while (m_iPos < m_rtf.size() && isLetter(m_rtf[m_iPos]) && m_iPos - start < 32)
            ++m_iPos;
        word = m_rtf.substr(start, m_iPos - start);
        bool hasParameter = false;
        long parameter = 0;
        bool negative = false;
        if (m_iPos < m_rtf.size() && m_rtf[m_iPos] == '-') {
            negative = true;
            ++m_iPos;
        }
        int digits = 0;
        while (m_iPos < m_rtf.size() && m_rtf[m_iPos] >= '0' && m_rtf[m_iPos] <= '9') {
            if (digits++ < 10)
                parameter = parameter * 10 + (m_rtf[m_iPos] - '0');
            hasParameter = true;
            ++m_iPos;
        }
        if (negative)
            parameter = -parameter;
        if (m_iPos < m_rtf.size() && m_rtf[m_iPos] == ' ')
            ++m_iPos;
        apply(word, hasParameter, parameter);
    }

    static bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

    void controlSymbol(char symbol) {
        switch (symbol) {
        case '*':
            m_bStarred = true;
            return;
        case '\'': {
            m_bGroupStart = false;
            if (m_iPos + 2 > m_rtf.size())
                return;
            const int high = hexValue(m_rtf[m_iPos]);
            const int low = hexValue(m_rtf[m_iPos + 1]);
            m_iPos += 2;
            if (high >= 0 && low >= 0)
                byte(static_cast<unsigned char>(high * 16 + low));
            return;
        }
        case '\\':
        case '{':
        case '}':
            m_bGroupStart = false;
            byte(static_cast<unsigned char>(symbol));
            return;
        case '~':
            m_bGroupStart = false;
            wide(m_bFromHtml ? 0xA0 : L' ');
            return;
        case '_':
            wide(L'-');
            return;
        case '\r':
        case '\n':
            text(L"\r\n");
            return;
        case '\t':
            wide(L'\t');
            return;
        default:
            return;
        }
    }

    static int hexValue(char c) {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    }

    void apply(std::string_view word, bool hasParameter, long parameter) {
        const bool groupStart = m_bGroupStart;
        const bool starred = m_bStarred;
        m_bGroupStart = false;
        m_bStarred = false;
        GroupState& s = state();

        if (groupStart) {
            if (word == "htmltag" && starred) {
                s.bHtmlTag = true;
                s.bSkip = s.bSkip || !m_bFromHtml;
                return;
            }
            if (word == "fonttbl") {
                s.bFontTable = true;
                s.bSkip = true;
                return;
            }
            if (starred || skippedDestinations().count(word) != 0) {
                s.bSkip = true;
                return;
            }
        }

        if (word == "bin") {
            // Binary data is skipped by its stated length, within the input.
            const std::size_t length = hasParameter && parameter > 0
                                           ? static_cast<std::size_t>(parameter)
                                           : std::size_t{0};
            m_iPos += std::min(length, m_rtf.size() - m_iPos);
            return;
        }
        if (word == "fromhtml") {
            m_bFromHtml = !hasParameter || parameter != 0;
            return;
        }
        if (word == "ansicpg") {
            if (hasParameter && parameter > 0 && parameter < 65536)
                m_iDocumentCodePage = static_cast<int>(parameter);
            return;
        }
        if (word == "f" && hasParameter) {
            if (s.bFontTable) {
                m_iFontBeingDefined = parameter;
            } else {
                const auto it = m_fontCodePages.find(parameter);
                s.iCodePage = it != m_fontCodePages.end() ? it->second : 0;
            }
            return;
        }
        if (word == "fcharset" && s.bFontTable && hasParameter) {
            m_fontCodePages[m_iFontBeingDefined] = codePageOfCharset(static_cast<int>(parameter));
            return;
        }
        if (word == "htmlrtf") {
            s.bHtmlRtf = !hasParameter || parameter != 0;
            return;
        }
        if (word == "uc" && hasParameter) {
            s.iUnicodeSkip = parameter >= 0 && parameter < 16 ? static_cast<int>(parameter) : 1;
            return;
        }
        if (word == "u" && hasParameter) {
            long value = parameter;
            if (value < 0)
                value += 65536;
            if (value >= 0 && value <= 0xFFFF)
                wide(static_cast<wchar_t>(value));
            m_iUnicodePending = s.iUnicodeSkip;
            return;
        }
        if (word == "par" || word == "line" || word == "row" || word == "sect" || word == "page") {
            text(L"\r\n");
        } else if (word == "tab" || word == "cell") {
            wide(L'\t');
        } else if (word == "emdash") {
            wide(0x2014);
        } else if (word == "endash") {
            wide(0x2013);
        } else if (word == "bullet") {
            wide(0x2022);
        } else if (word == "lquote") {
            wide(0x2018);
        } else if (word == "rquote") {
            wide(0x2019);
        } else if (word == "ldblquote") {
            wide(0x201C);
        } else if (word == "rdblquote") {
            wide(0x201D);
        }
    }

    // \u gives UTF-16 units; pairs become one character, lone halves U+FFFD.
    static std::wstring fixSurrogates(std::wstring text) {
        std::wstring out;
        out.reserve(text.size());
        for (std::size_t i = 0; i < text.size(); ++i) {
            const auto c = static_cast<char32_t>(text[i]);
            if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) {
                const auto low = static_cast<char32_t>(text[i + 1]);
                if (low >= 0xDC00 && low <= 0xDFFF) {
                    out.push_back(
                        static_cast<wchar_t>(0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00)));
                    ++i;
                    continue;
                }
            }
            out.push_back(c >= 0xD800 && c <= 0xDFFF ? static_cast<wchar_t>(0xFFFD) : text[i]);
        }
        return out;
    }

    std::string_view m_rtf;
    std::size_t m_iPos = 0;
    int m_iDocumentCodePage;
    std::vector<GroupState> m_states;
    std::size_t m_iUntrackedDepth = 0;
    bool m_bGroupStart = false;
    bool m_bStarred = false;
    bool m_bFromHtml = false;
    int m_iUnicodePending = 0;
    long m_iFontBeingDefined = 0;
    std::map<long, int> m_fontCodePages;
    std::string m_bytes;
    int m_iBytesCodePage = 0;
    std::wstring m_out;
};

} // namespace

Extracted extract(std::string_view rtf, int codePage) {
    return Extractor(rtf, codePage).run();
}

} // namespace Kerf::Rtf
