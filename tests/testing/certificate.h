#ifndef TESTING_CERTIFICATE_H_
#define TESTING_CERTIFICATE_H_

#include <filesystem>
#include <stdexcept>

#include "testing/running_program.h"

namespace kiv::testing {

// Signed by itself, for this machine: its files are the stem with ".pem" and,
// for the key, ".key". It is for the name "localhost" alone unless more of what
// it is for is given.
inline void MakeCertificate(const std::filesystem::path& stem,
                            const std::string& more = "") {
  RunningProgram maker(
      "/usr/bin/openssl",
      {"req", "-x509", "-newkey", "ec", "-pkeyopt",
       "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj",
       "/CN=localhost", "-addext", "subjectAltName=DNS:localhost" + more,
       "-keyout", stem.string() + ".key", "-out", stem.string() + ".pem"},
      {.files = stem.parent_path()});
  if (maker.WaitForEnd() != 0)
    throw std::runtime_error("no certificate: " + maker.Errors());
}

}  // namespace kiv::testing

#endif  // TESTING_CERTIFICATE_H_
