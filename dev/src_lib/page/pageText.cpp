#include "page/pageText.h"

#include "page/PageData.h"

namespace QUOR_ZEF {

namespace {

std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : text) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            default:
                html += c;
        }
    }
    return html;
}

}  // namespace

std::string pageText(std::string_view title, std::string_view json, std::string_view bytes, std::string_view bundle) {
    std::string html =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=\"generator\" content=\"zef\">\n<title>" +
        escaped(title) + "</title>\n</head>\n<body>\n<noscript>This page needs JavaScript.</noscript>\n";
    html.append("<script type=\"application/json\" id=\"zef-scene\">").append(json).append("</script>\n");
    html.append("<script type=\"text/plain\" id=\"zef-bytes\">").append(base64(bytes)).append("</script>\n");
    html.append("<script>\n").append(bundle).append("\n</script>\n</body>\n</html>\n");
    return html;
}

}  // namespace QUOR_ZEF
