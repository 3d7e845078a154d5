// The mesh agent: the daemon's thread that keeps the node in the mesh.
//   - Every node rewrites its node state ("/tmp/mesh_node_state") each
//     round, so that the state stays in force (it lapses after 160 s).
//   - A satellite reports its node report (bmd) to the gateway once a
//     period ("mesh.report", over nng): the gateway answers with the nodes
//     of the mesh, which the satellite keeps in its own node table (so that
//     it can call any node by serial number), and with its network record
//     when the satellite's last sync is older than the record; the
//     satellite then applies it (network_record_apply.h) and records the
//     time of the sync.
//   - The gateway rebuilds its network record once a period, so that a
//     change shows in the record's time even while no node reports.
#pragma once

#include <stdint.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

struct mesh_agent_options {
    std::string gateway;    // a satellite's gateway address; empty on the gateway
    uint16_t gateway_port = 10010;
    int report_period = 5;  // seconds between two rounds
    std::string version;    // the mesh version to report; empty: the library's
};

class mesh_agent {
  public:
    mesh_agent() = default;
    ~mesh_agent() { stop(); }
    mesh_agent(const mesh_agent&) = delete;
    mesh_agent& operator=(const mesh_agent&) = delete;

    // Starts the rounds (the first at once).
    void start(const mesh_agent_options& options);
    // Ends the round in progress and joins the thread.
    void stop();

  private:
    void run();
    void round();
    void report();
    void send_report();
    // Takes the gateway's answer to a report (under the library lock).
    void take_answer(const std::string& reply);

    mesh_agent_options options_;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    int64_t last_sync_ = 0;   // when this node last took over the network record
    bool reporting_ok_ = true;  // the last report went through (failures are logged on change)
};
