#include "DocumentWriter.h"

#include <QBuffer>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>

#include <zip.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace QoMsg {
namespace {

std::string escaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

} // namespace

std::vector<std::uint8_t> pdfDocument(const std::vector<std::string>& pages) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&buffer);
        writer.setPageSize(QPageSize(QPageSize::A4));
        writer.setResolution(72);
        writer.setCreator(QStringLiteral("QoSearch corpus"));
        QPainter painter;
        if (!painter.begin(&writer))
            throw std::runtime_error("cannot write a PDF document");
        for (std::size_t i = 0; i < pages.size(); ++i) {
            if (i > 0)
                writer.newPage();
            painter.drawText(QRectF(40, 40, 500, 700), Qt::TextWordWrap,
                             QString::fromStdString(pages[i]));
        }
        painter.end();
    }
    const QByteArray& data = buffer.data();
    return {data.begin(), data.end()};
}

std::vector<std::uint8_t> slowPdfDocument(int levels, int fanOut) {
    // Objects: 1 catalog, 2 page tree, 3 page, 4 page contents, then the
    // forms from the leaf (5) up to the one the page draws (5 + levels).
    std::vector<std::string> objects = {
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /XObject << /F " +
            std::to_string(5 + levels) + " 0 R >> >> /Contents 4 0 R >>",
    };
    const auto stream = [](const std::string& dictionary, const std::string& content) {
        return "<< " + dictionary + " /Length " + std::to_string(content.size()) + " >>\nstream\n" +
               content + "\nendstream";
    };
    objects.push_back(stream("", "/F Do"));
    const std::string form = "/Type /XObject /Subtype /Form /BBox [0 0 10 10]";
    objects.push_back(stream(form, "q 1 0 0 1 0 0 cm Q"));
    std::string calls;
    for (int i = 0; i < fanOut; ++i)
        calls += "/F Do ";
    for (int level = 1; level <= levels; ++level)
        objects.push_back(stream(form + " /Resources << /XObject << /F " +
                                     std::to_string(4 + level) + " 0 R >> >>",
                                 calls));

    std::string pdf = "%PDF-1.4\n";
    std::vector<std::size_t> offsets;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        offsets.push_back(pdf.size());
        pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const std::size_t xref = pdf.size();
    pdf += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    char entry[32];
    for (const std::size_t offset : offsets) {
        std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", offset);
        pdf += entry;
    }
    pdf += "trailer\n<< /Size " + std::to_string(objects.size() + 1) +
           " /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
    return {pdf.begin(), pdf.end()};
}

std::vector<std::uint8_t>
zipArchive(const std::vector<std::pair<std::string, std::string>>& members) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* target = zip_source_buffer_create(nullptr, 0, 0, &error);
    zip_t* archive = target ? zip_open_from_source(target, ZIP_TRUNCATE, &error) : nullptr;
    zip_error_fini(&error);
    if (archive == nullptr) {
        zip_source_free(target);
        throw std::runtime_error("cannot start a zip archive");
    }
    zip_source_keep(target);
    for (std::size_t i = 0; i < members.size(); ++i) {
        const auto& [name, content] = members[i];
        zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
        const zip_int64_t index =
            source ? zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8) : -1;
        if (index < 0) {
            zip_source_free(source);
            zip_discard(archive);
            zip_source_free(target);
            throw std::runtime_error("cannot add " + name + " to a zip archive");
        }
        zip_set_file_compression(archive, static_cast<zip_uint64_t>(index),
                                 i == 0 ? ZIP_CM_STORE : ZIP_CM_DEFLATE, 0);
    }
    // The members' contents are read when the archive is written, here.
    if (zip_close(archive) != 0) {
        zip_discard(archive);
        zip_source_free(target);
        throw std::runtime_error("cannot write a zip archive");
    }
    std::vector<std::uint8_t> bytes;
    zip_stat_t stat;
    if (zip_source_stat(target, &stat) == 0 && zip_source_open(target) == 0) {
        bytes.resize(static_cast<std::size_t>(stat.size));
        const zip_int64_t n = zip_source_read(target, bytes.data(), bytes.size());
        zip_source_close(target);
        bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    }
    zip_source_free(target);
    if (bytes.empty())
        throw std::runtime_error("cannot read back a zip archive");
    return bytes;
}

std::vector<std::uint8_t> docxDocument(const std::vector<std::string>& paragraphs) {
    std::string body;
    for (const std::string& paragraph : paragraphs)
        body += "<w:p><w:r><w:t>" + escaped(paragraph) + "</w:t></w:r></w:p>";
    return zipArchive({
        {"[Content_Types].xml",
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
         "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
         "<Default Extension=\"rels\" "
         "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
         "<Default Extension=\"xml\" ContentType=\"application/xml\"/>"
         "<Override PartName=\"/word/document.xml\" ContentType=\"application/"
         "vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml\"/></Types>"},
        {"_rels/.rels",
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
         "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
         "<Relationship Id=\"rId1\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/"
         "relationships/officeDocument\" Target=\"word/document.xml\"/></Relationships>"},
        {"word/document.xml",
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
         "<w:document xmlns:w=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\">"
         "<w:body>" +
             body + "</w:body></w:document>"},
    });
}

std::vector<std::uint8_t> odtDocument(const std::vector<std::string>& paragraphs) {
    std::string body;
    for (const std::string& paragraph : paragraphs)
        body += "<text:p>" + escaped(paragraph) + "</text:p>";
    return zipArchive({
        {"mimetype", "application/vnd.oasis.opendocument.text"},
        {"META-INF/manifest.xml",
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
         "<manifest:manifest xmlns:manifest=\"urn:oasis:names:tc:opendocument:xmlns:manifest:1.0\""
         " manifest:version=\"1.2\"><manifest:file-entry manifest:full-path=\"/\" "
         "manifest:media-type=\"application/vnd.oasis.opendocument.text\"/>"
         "<manifest:file-entry manifest:full-path=\"content.xml\" "
         "manifest:media-type=\"text/xml\"/></manifest:manifest>"},
        {"content.xml",
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
         "<office:document-content "
         "xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\" "
         "xmlns:text=\"urn:oasis:names:tc:opendocument:xmlns:text:1.0\" office:version=\"1.2\">"
         "<office:body><office:text>" +
             body + "</office:text></office:body></office:document-content>"},
    });
}

DocumentPool documentPool(std::mt19937_64& rng, int perKind) {
    auto text = [&rng](int sentences) {
        std::vector<std::string> parts;
        for (int i = 0; i < sentences; ++i)
            parts.push_back(QString::fromStdWString(randomSentence(rng)).toStdString());
        return parts;
    };
    auto joined = [](const std::vector<std::string>& parts) {
        std::string all;
        for (const std::string& part : parts)
            all += part + "\r\n";
        return std::vector<std::uint8_t>(all.begin(), all.end());
    };
    DocumentPool pool;
    for (int i = 0; i < perKind; ++i) {
        pool.documents.push_back({L"pdf", pdfDocument(text(2 + i % 3))});
        pool.documents.push_back({L"docx", docxDocument(text(8))});
        pool.documents.push_back({L"odt", odtDocument(text(8))});
        pool.documents.push_back({L"txt", joined(text(12))});
    }
    return pool;
}

} // namespace QoMsg
