#include "app/IndexDocument.h"

#include "mail/MailQueryRunner.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <stdexcept>

std::optional<Kerf::QuireLib::CEmailMetadata>
getDocumentFromIndex(const Kerf::Search::IndexSearcherPtr& searcher, const std::wstring& path) {
    namespace Searcher = Kerf::Search::Searcher;
    if (!searcher)
        return std::nullopt;
    try {
        // The phrase query also finds paths that merely end in this one.
        const Kerf::Search::HitsPtr hits = Searcher::getHits(*searcher, L"Location", path);
        for (size_t i = 0; i < hits->length(); ++i) {
            Kerf::Search::Document& document = hits->doc(static_cast<int32_t>(i));
            if (Searcher::getAsString(document, L"Location") == path)
                return Kerf::QuireLib::CMailQueryRunner::getDocument(document);
        }
    } catch (CLuceneError& e) {
        Kerf::Trace::tracef("Reading %s from the index failed: %s\n",
                            Kerf::Util::toNarrow(path).c_str(),
                            Kerf::Util::toNarrow(Kerf::Search::describe(e)).c_str());
    } catch (const Kerf::CExceptionBase& e) {
        Kerf::Trace::tracef("Reading %s from the index failed: %s\n",
                            Kerf::Util::toNarrow(path).c_str(),
                            Kerf::Util::toNarrow(e.getMessage()).c_str());
    } catch (const std::invalid_argument& e) {
        Kerf::Trace::tracef("The index holds a damaged entry for %s: %s\n",
                            Kerf::Util::toNarrow(path).c_str(), e.what());
    }
    return std::nullopt;
}
