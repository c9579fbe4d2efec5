#include "auth/kernel_handle.h"
#include "bench/contests.h"
#include "net/html_page.h"
#include "net/running_listener.h"
#include "net/socket_handle.h"
#include "net/winsock_reference.h"
#include "tests/support/library_under_test.h"

#include <cstring>
#include <string_view>

namespace zelto::bench {
namespace {

using test::LibraryUnderTest;
using test::LoadBuiltLibrary;
using test::RunningListener;

constexpr int kTrips = 40; // in a run
constexpr char kRequest[] = "GET /?id=ab12cd34 HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n";

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// What a browser does: connects, asks, reads until the other side closes. In microseconds.
double TimeRoundTrip(std::uint16_t port, std::size_t& answer) {
    char buffer[16384];
    answer = 0;
    const SocketHandle browser(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    const sockaddr_in address = Loopback(port);
    const std::uint64_t before = Ticks();
    const int connected =
        connect(browser.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    Require(connected == 0, "the browser connects");
    send(browser.get(), kRequest, sizeof(kRequest) - 1, 0);
    for (int got = 1; got > 0; answer += got > 0 ? static_cast<std::size_t>(got) : 0) {
        got = recv(browser.get(), buffer, sizeof(buffer), 0);
    }
    return static_cast<double>(Ticks() - before) / TicksPerNanosecond() / 1000;
}

double ServedByListener(std::size_t& answer) {
    const KernelHandle exitEvent(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    RunningListener listener(0, 60'000, exitEvent.get());
    const double time = TimeRoundTrip(listener.Port(), answer);
    Require(listener.Outcome() == HttpUtilsError::Success, "the listener has the request");
    return time;
}

void ReceiveAndSend(const SocketHandle& browser, const std::string& page) {
    char buffer[16384];
    recv(browser.get(), buffer, sizeof(buffer), 0);
    send(browser.get(), page.data(), static_cast<int>(page.size()), 0);
}

// On the thread that has accepted.
void ServeHere(SocketHandle browser, const std::string& page) {
    ReceiveAndSend(browser, page);
}

// On a thread of its own, as the listener has to: so much of its time is the start of that thread.
void ServeOnThread(SocketHandle browser, const std::string& page) {
    std::thread([&] { ReceiveAndSend(browser, page); }).join();
}

// The same on the wire with nothing around it: accepts, receives, sends as many bytes, closes.
template <class Serve>
double ServedByTwin(const Serve& serve, const std::string& page, std::size_t& answer) {
    const SocketHandle listening(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    sockaddr_in address = Loopback(0);
    bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    listen(listening.get(), 1);
    int size = sizeof(address);
    getsockname(listening.get(), reinterpret_cast<sockaddr*>(&address), &size);
    std::thread twin([&] { serve(SocketHandle(accept(listening.get(), nullptr, nullptr)), page); });
    const double time = TimeRoundTrip(ntohs(address.sin_port), answer);
    twin.join();
    return time;
}

template <class Serve>
Figures TimeTrips(int trips, std::size_t expected, const Serve& serve) {
    std::vector<double> times;
    for (int trip = 0; trip < trips; ++trip) {
        std::size_t answer = 0;
        times.push_back(serve(answer));
        Require(answer == expected, "the whole page came");
    }
    return {Percentile(times, 0.5), Percentile(times, 0.99)};
}

} // namespace

void CompeteInListening(const Effort& effort) {
    const int trips = effort.Scaled(kTrips);
    WinsockReference winsock;
    winsock.Start();
    const HMODULE library =
        LoadBuiltLibrary(LibraryUnderTest::LibraryPath()); // the page is one of its resources
    std::size_t expected = 0;
    ServedByListener(expected);
    Require(expected > 1000, "the page is there");
    const std::string page(expected, 'x');
    const auto twin = [&](const auto& serve) {
        return [&, serve] {
            return TimeTrips(trips, expected,
                             [&](std::size_t& answer) { return ServedByTwin(serve, page, answer); });
        };
    };
    Compete("callback listener: connect, request, page, close", {"median us", "p99 us"},
            {{"callback listener", [&] { return TimeTrips(trips, expected, &ServedByListener); }},
             {"accept, receive, send", twin(&ServeHere)},
             {"the same with a new thread", twin(&ServeOnThread)}},
            {{0, 1, 0, 1.3}, {0, 2, 0, 0}, {2, 1, 0, 0}}, effort);
    FreeLibrary(library);
}

} // namespace zelto::bench
