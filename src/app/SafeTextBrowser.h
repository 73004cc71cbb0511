#pragma once
// A text browser for HTML written by someone else. It loads nothing from
// anywhere: no network, no local files, so a message cannot tell its sender
// that it was read, nor show a file of the reader's. Pictures the message
// carries itself can be handed in by content id. Links show, and open on the
// desktop only when clicked, and only web and mail links.

#include <QList>
#include <QTextBrowser>
#include <QUrl>

#include <functional>

class CSafeTextBrowser : public QTextBrowser {
    Q_OBJECT
public:
    /// The bytes of the picture a "cid:" address names; empty when unknown.
    using InlineSource = std::function<QByteArray(const QString& contentId)>;

    explicit CSafeTextBrowser(QWidget* parent = nullptr);

    void setInlineSource(InlineSource source) { m_inlineSource = std::move(source); }

    /// Every address the document asked for and did not get, in order.
    const QList<QUrl>& refusedResources() const { return m_refused; }

    /// Whether a clicked link of this scheme goes to the desktop.
    static bool isOpenableLink(const QUrl& url);

protected:
    QVariant loadResource(int type, const QUrl& name) override;

private:
    InlineSource m_inlineSource;
    QList<QUrl> m_refused;
};
