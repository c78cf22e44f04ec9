#pragma once

#include <QByteArray>

// Hands a URL to the desktop. An interface, so that tests can see what would be opened.
class UrlLauncher {
public:
    virtual ~UrlLauncher() = default;
    // `encodedUrl` is passed on byte for byte, already percent-encoded.
    virtual void open(const QByteArray &encodedUrl) = 0;
};

// xdg-open, which knows the desktop's handler for the URL's scheme.
class DesktopUrlLauncher final : public UrlLauncher {
public:
    void open(const QByteArray &encodedUrl) override;
};
