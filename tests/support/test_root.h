// An emulated router root for one test: made from sim/ in a fresh temporary
// directory, selected with VESPIN_ROOT, and removed with everything in it
// when the test ends; VESPIN_ROOT then names the root it named before (the
// process root of test_main.cpp). It also resets the platform's test hooks,
// before and after. Commands that outlive their shell ("sysconf ... &") are
// waited for, and killed after 2 seconds, before the root is removed: the
// test process adopts them (it is a child subreaper). The root's shared node
// table, if a test mapped it, is removed with the root.
#pragma once

#include <string>

class test_root {
  public:
    // extra_options go to sim/mkroot.sh ("--sn 01... --address 127.0.0.2").
    explicit test_root(const std::string& extra_options = "");
    ~test_root();
    test_root(const test_root&) = delete;
    test_root& operator=(const test_root&) = delete;

    const std::string& dir() const { return dir_; }
    // The host path of a router path inside this root.
    std::string path(const std::string& router_path) const { return dir_ + router_path; }
    // Writes or reads a file at a router path inside the root.
    void write(const std::string& router_path, const std::string& content) const;
    std::string read(const std::string& router_path) const;
    bool exists(const std::string& router_path) const;

  private:
    std::string dir_;
    std::string previous_root_;
};
