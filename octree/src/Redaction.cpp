#include <lumaro/octree/Redaction.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace Octree {

namespace {

// Query parameters that sign a request or carry a credential.
constexpr std::array<std::string_view, 16> secretParameters{"x-amz-signature",
                                                            "x-amz-credential",
                                                            "x-amz-security-token",
                                                            "signature",
                                                            "sig",
                                                            "token",
                                                            "access_token",
                                                            "id_token",
                                                            "key",
                                                            "api_key",
                                                            "apikey",
                                                            "password",
                                                            "secret",
                                                            "client_secret",
                                                            "awsaccesskeyid",
                                                            "key-pair-id"};

bool isSecret(std::string_view parameter)
{
    std::string name(parameter.substr(0, parameter.find('=')));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::find(secretParameters.begin(), secretParameters.end(), name) != secretParameters.end();
}

std::string withoutSecretParameters(std::string_view query)
{
    std::string kept;
    std::size_t start = 0;
    while (start <= query.size()) {
        const std::size_t end = std::min(query.find('&', start), query.size());
        const std::string_view parameter = query.substr(start, end - start);
        if (!parameter.empty() && !isSecret(parameter)) {
            kept += kept.empty() ? "" : "&";
            kept += parameter;
        }
        start = end + 1;
    }
    return kept;
}

// Where a URL that starts at `start` of `text` ends: at white space or a quote.
std::size_t urlEnd(std::string_view text, std::size_t start)
{
    std::size_t end = start;
    while (end < text.size() && !std::isspace(static_cast<unsigned char>(text[end])) && text[end] != '"'
           && text[end] != '\'')
        ++end;
    return end;
}

} // namespace

std::string redactedUrl(std::string_view url)
{
    const std::size_t schemeEnd = url.find("://");
    if (schemeEnd == std::string_view::npos)
        return std::string(url);
    const std::size_t authorityStart = schemeEnd + 3;
    const std::size_t authorityEnd = std::min(url.find_first_of("/?#", authorityStart), url.size());
    std::string_view authority = url.substr(authorityStart, authorityEnd - authorityStart);
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos)
        authority.remove_prefix(at + 1);
    std::string result = std::string(url.substr(0, authorityStart)) + std::string(authority);
    std::string_view rest = url.substr(authorityEnd);
    const std::size_t fragment = std::min(rest.find('#'), rest.size());
    const std::string_view beforeFragment = rest.substr(0, fragment);
    const std::size_t question = beforeFragment.find('?');
    result += beforeFragment.substr(0, question);
    if (question != std::string_view::npos) {
        const std::string query = withoutSecretParameters(beforeFragment.substr(question + 1));
        if (!query.empty())
            result += "?" + query;
    }
    return result;
}

std::string redactedText(std::string_view text)
{
    std::string result;
    std::size_t position = 0;
    while (position < text.size()) {
        std::size_t found = std::string_view::npos;
        for (const std::string_view scheme : {"http://", "https://", "s3://"}) {
            const std::size_t at = text.find(scheme, position);
            found = std::min(found, at);
        }
        if (found == std::string_view::npos)
            break;
        result += text.substr(position, found - position);
        const std::size_t end = urlEnd(text, found);
        result += redactedUrl(text.substr(found, end - found));
        position = end;
    }
    if (position < text.size())
        result += text.substr(position);
    return result;
}

} // namespace Octree
