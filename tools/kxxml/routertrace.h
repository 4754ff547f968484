#pragma once

#include <kxxml/messaging/xmlrouterlogger.h>

class QCommandLineOption;
class XMLRouter;

/// `--trace`: while the object lives, the router's events are written to standard error, one
/// line each, as the library's logger writes them (category `kxxml.router`) after the prefix
/// "kxxml: trace: ". Standard output is left as it is.
class RouterTrace
{
public:
    /// The `--trace` option of the commands that run a router.
    static QCommandLineOption option();

    /// Switches the category on and attaches a logger to @p router.
    explicit RouterTrace(XMLRouter& router);
    /// Restores Qt's message handler and category filter; the logger detaches itself.
    ~RouterTrace();
    RouterTrace(const RouterTrace&) = delete;
    RouterTrace& operator=(const RouterTrace&) = delete;

private:
    XMLRouterLogger m_logger;
};
