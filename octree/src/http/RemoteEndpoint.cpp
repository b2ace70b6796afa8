#include "RemoteEndpoint.h"

#include <lumaro/octree/Redaction.h>
#include <lumaro/octree/RemoteAccess.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <stdexcept>

namespace Octree {

namespace {

struct HostAccess {
    std::mutex mutex;
    RemoteAccess access;
};

HostAccess& hostAccess()
{
    static HostAccess host;
    return host;
}

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return {};
    const std::size_t last = text.find_last_not_of(" \t\r\n");
    return std::string(text.substr(first, last - first + 1));
}

std::filesystem::path homeFolder()
{
    const std::string home = environment("HOME");
    return home.empty() ? std::filesystem::path(environment("USERPROFILE")) : std::filesystem::path(home);
}

std::filesystem::path awsFile(const char* variable, const char* name)
{
    const std::string named = environment(variable);
    if (!named.empty())
        return named;
    const std::filesystem::path home = homeFolder();
    return home.empty() ? std::filesystem::path() : home / ".aws" / name;
}

// The settings of one section of one of AWS's shared files ("[default]", "[profile NAME]" in the
// config file, "[NAME]" in the credentials file); nothing when the file or section is missing.
std::map<std::string, std::string> section(const std::filesystem::path& file, const std::string& wanted)
{
    std::map<std::string, std::string> settings;
    if (file.empty())
        return settings;
    std::ifstream in(file);
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        const std::string text = trimmed(line);
        if (text.empty() || text[0] == '#' || text[0] == ';')
            continue;
        if (text.front() == '[' && text.back() == ']') {
            inside = trimmed(std::string_view(text).substr(1, text.size() - 2)) == wanted;
            continue;
        }
        const std::size_t equals = text.find('=');
        if (inside && equals != std::string::npos)
            settings[trimmed(std::string_view(text).substr(0, equals))] =
                trimmed(std::string_view(text).substr(equals + 1));
    }
    return settings;
}

std::string firstOf(std::initializer_list<std::string> candidates)
{
    for (const std::string& candidate : candidates)
        if (!candidate.empty())
            return candidate;
    return {};
}

// The extra header lines of LUMARO_HTTP_HEADERS, checked.
std::vector<std::string> headerLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::size_t start = 0;
    int number = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string line = trimmed(std::string_view(text).substr(start, end - start));
        ++number;
        if (!line.empty()) {
            const std::size_t colon = line.find(':');
            if (colon == std::string::npos || colon == 0)
                throw std::runtime_error("LUMARO_HTTP_HEADERS: line " + std::to_string(number)
                                         + " is not a header 'Name: value'");
            lines.push_back(line);
        }
        start = end + 1;
    }
    return lines;
}

} // namespace

void setRemoteAccess(RemoteAccess access)
{
    HostAccess& host = hostAccess();
    const std::lock_guard lock(host.mutex);
    host.access = std::move(access);
}

RemoteAccess remoteAccess()
{
    HostAccess& host = hostAccess();
    const std::lock_guard lock(host.mutex);
    return host.access;
}

AwsSettings awsSettingsFromEnvironment()
{
    const std::string profile = firstOf({environment("AWS_PROFILE"), "default"});
    AwsSettings settings;
    if (!environment("AWS_ACCESS_KEY_ID").empty() && !environment("AWS_SECRET_ACCESS_KEY").empty()) {
        settings.accessKeyId = environment("AWS_ACCESS_KEY_ID");
        settings.secretAccessKey = environment("AWS_SECRET_ACCESS_KEY");
        settings.sessionToken = environment("AWS_SESSION_TOKEN");
    } else {
        auto credentials = section(awsFile("AWS_SHARED_CREDENTIALS_FILE", "credentials"), profile);
        settings.accessKeyId = credentials["aws_access_key_id"];
        settings.secretAccessKey = credentials["aws_secret_access_key"];
        settings.sessionToken = credentials["aws_session_token"];
    }
    auto config = section(awsFile("AWS_CONFIG_FILE", "config"), profile == "default" ? profile : "profile " + profile);
    settings.region = firstOf({environment("AWS_REGION"), environment("AWS_DEFAULT_REGION"), config["region"]});
    settings.endpoint =
        firstOf({environment("AWS_ENDPOINT_URL_S3"), environment("AWS_ENDPOINT_URL"), config["endpoint_url"]});
    return settings;
}

std::string RemoteEndpoint::url(std::string_view name) const
{
    return (name.empty() ? base : base + "/" + std::string(name)) + query;
}

std::string RemoteEndpoint::shown(std::string_view name) const
{
    return name.empty() ? shownBase : shownBase + "/" + std::string(name);
}

RemoteEndpoint remoteEndpoint(const Location& location)
{
    const RemoteAccess host = remoteAccess();
    const std::string& url = location.url();
    RemoteEndpoint endpoint;
    endpoint.headers = headerLines(environment("LUMARO_HTTP_HEADERS"));
    for (const auto& [name, value] : host.httpHeaders)
        endpoint.headers.push_back(name + ": " + value);
    const std::size_t question = url.find('?');
    endpoint.query = question == std::string::npos ? std::string() : url.substr(question);
    const std::string withoutQuery = url.substr(0, question);
    endpoint.shownBase = redactedUrl(withoutQuery);
    if (!withoutQuery.starts_with("s3://")) {
        endpoint.base = withoutQuery;
        return endpoint;
    }

    // s3://BUCKET/KEY: signed requests to AWS or to an S3-compatible endpoint.
    const std::string path = withoutQuery.substr(5);
    const std::size_t slash = path.find('/');
    const std::string bucket = path.substr(0, slash);
    const std::string key = slash == std::string::npos ? std::string() : path.substr(slash);
    AwsSettings settings = awsSettingsFromEnvironment();
    if (host.s3Credentials) {
        settings.accessKeyId = host.s3Credentials->accessKeyId;
        settings.secretAccessKey = host.s3Credentials->secretAccessKey;
        settings.sessionToken = host.s3Credentials->sessionToken;
    }
    const std::string region = firstOf({host.s3Region, settings.region, "us-east-1"});
    std::string endpointUrl = firstOf({host.s3Endpoint, settings.endpoint});
    while (!endpointUrl.empty() && endpointUrl.back() == '/')
        endpointUrl.pop_back();
    endpoint.base = endpointUrl.empty() ? "https://" + bucket + ".s3." + region + ".amazonaws.com" + key
                                        : endpointUrl + "/" + bucket + key;
    endpoint.netrc = false;
    if (!settings.accessKeyId.empty() && !settings.secretAccessKey.empty()) {
        endpoint.sigV4 = "aws:amz:" + region + ":s3";
        endpoint.sigV4Keys = settings.accessKeyId + ":" + settings.secretAccessKey;
        if (!settings.sessionToken.empty())
            endpoint.headers.push_back("x-amz-security-token: " + settings.sessionToken);
    }
    return endpoint;
}

} // namespace Octree
