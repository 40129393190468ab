#include "uKwOAuth.h"

#include <cstdlib>

#include <nlohmann/json.hpp>

#include "uKwCurl.h"

namespace {

constexpr int kTimeoutSeconds = 60;

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

std::string OAuthTokenUrl(const std::string& mailHost) {
  if (std::string url = Environment("QUILLON_OAUTH_TOKEN_URL"); !url.empty()) return url;
  if (mailHost.find("gmail.com") != std::string::npos || mailHost.find("google") != std::string::npos)
    return "https://oauth2.googleapis.com/token";
  if (mailHost.find("outlook") != std::string::npos || mailHost.find("office365") != std::string::npos)
    return "https://login.microsoftonline.com/common/oauth2/v2.0/token";
  return "";
}

bool RefreshOAuthToken(const std::string& mailHost, const std::string& refreshToken, const std::string& caFile,
                       TKwOAuthTokens& tokens, std::string& error) {
  const std::string url = OAuthTokenUrl(mailHost);
  if (url.empty()) return error = "The access token has expired and no token endpoint is known for " + mailHost, false;
  std::string form = "grant_type=refresh_token&refresh_token=" + UrlEscape(refreshToken);
  if (std::string id = Environment("QUILLON_OAUTH_CLIENT_ID"); !id.empty()) form += "&client_id=" + UrlEscape(id);
  if (std::string secret = Environment("QUILLON_OAUTH_CLIENT_SECRET"); !secret.empty())
    form += "&client_secret=" + UrlEscape(secret);
  std::string reply;
  if (!HttpPostForm(url, form, caFile, kTimeoutSeconds, reply, error)) return false;
  const nlohmann::json json = nlohmann::json::parse(reply, nullptr, false);
  if (!json.is_object() || !json.contains("access_token") || !json["access_token"].is_string())
    return error = url + " gave no access token", false;
  tokens = {};
  tokens.AccessToken = json["access_token"].get<std::string>();
  if (json.contains("refresh_token") && json["refresh_token"].is_string())
    tokens.RefreshToken = json["refresh_token"].get<std::string>();
  if (json.contains("expires_in") && json["expires_in"].is_number())
    tokens.Expiry = NowLocal() + json["expires_in"].get<double>() / kSecondsPerDay;
  return true;
}
