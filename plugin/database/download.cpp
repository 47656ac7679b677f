#include "plugin/database/download.h"

#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>
#include <curlpp/cURLpp.hpp>
#include <sstream>
#include <utility>

namespace veltra {

std::string download_to_string(const std::string& address,
                               const std::optional<std::string>& proxy) {
  const curlpp::Cleanup libcurl_in_use;
  std::ostringstream body;
  curlpp::Easy request;
  request.setOpt(curlpp::options::Url(address));
  request.setOpt(curlpp::options::WriteStream(&body));
  if (proxy) request.setOpt(curlpp::options::Proxy(*proxy));
  request.perform();
  return std::move(body).str();
}

}  // namespace veltra
