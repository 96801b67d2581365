// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Many threads call every function of both C interfaces while the service emits signals and is
// killed and restarted. SOAK_SECONDS sets the duration, SOAK_SIGNALS the signals per second.
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ChildProgram.h"
#include "FakeService.h"
#include "Platform.h"
#include "SoakLoad.h"
#include "SoakService.h"
#include "TestBus.h"
#include "sourcelist-dotnet-api.h"

namespace {

constexpr int threadCount = 16;
constexpr int standingRegistrations = 8;
constexpr std::size_t enoughSamples = 4;

using Clock = std::chrono::steady_clock;

int variable(const char *name, int otherwise) {
    const char *const value = std::getenv(name);
    return value != nullptr ? std::stoi(value) : otherwise;
}

std::atomic<long> logLines{0};

struct Process {
    long residentKiB = 0;
    long heapKiB = 0;
    long descriptors = 0;
    long threads = 0;
};

long entriesOf(const char *folder) {
    return std::distance(std::filesystem::directory_iterator(folder),
                         std::filesystem::directory_iterator());
}

Process measureProcess() {
    Process now;
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    now.residentKiB = pages * (sysconf(_SC_PAGESIZE) / 1024);
    now.heapKiB = static_cast<long>(mallinfo2().uordblks / 1024);
    now.descriptors = entriesOf("/proc/self/fd");
    now.threads = entriesOf("/proc/self/task");
    return now;
}

Process meanOf(const std::vector<Process> &samples, std::size_t begin, std::size_t end) {
    Process mean;
    const auto count = static_cast<long>(end - begin);
    for (std::size_t index = begin; index < end; ++index) {
        mean.residentKiB += samples[index].residentKiB;
        mean.heapKiB += samples[index].heapKiB;
    }
    mean.residentKiB /= count;
    mean.heapKiB /= count;
    return mean;
}

struct Standing {
    std::array<std::atomic<long>, standingRegistrations> calls{};
    std::array<int, standingRegistrations> lastValue{};
};

struct Registration {
    Standing *standing;
    std::size_t index;
    static void call(int value, void *self) {
        const auto *const registration = static_cast<Registration *>(self);
        ++registration->standing->calls[registration->index];
        registration->standing->lastValue[registration->index] = value;
    }
};

class Soak {
 public:
    explicit Soak(int seconds) : m_seconds(seconds) {
        for (std::size_t index = 0; index < m_registrations.size(); ++index) {
            m_registrations[index] = {&m_standing, index};
            register_sourcelist_changed_callback(Registration::call, &m_registrations[index]);
        }
    }

    void run(const std::string &program) {
        m_before = measureAtRest(program);
        std::vector<std::thread> workers;
        for (int number = 0; number < threadCount; ++number) {
            workers.emplace_back([this, number] { work(number); });
        }
        std::thread supervisor([this, &program] { restartServices(program); });
        iterateUntilQuiet();
        for (std::thread &worker : workers) {
            worker.join();
        }
        supervisor.join();
        m_after = measureProcess();
        // The kernel may still count a joined thread, and GLib closes descriptors on another
        // thread.
        const Clock::time_point limit = Clock::now() + std::chrono::milliseconds(waitLimit);
        while ((m_after.threads > m_before.threads || m_after.descriptors > m_before.descriptors) &&
               Clock::now() < limit) {
            std::this_thread::yield();
            m_after = measureProcess();
        }
    }

    // Each registration is called once for a single last change.
    void expectEveryRegistrationCalled(const TestBus &bus) {
        FakeService service(bus);
        ASSERT_TRUE(deliverSignalsOf(service.connection()));
        std::array<long, standingRegistrations> before{};
        std::copy(m_standing.calls.begin(), m_standing.calls.end(), before.begin());
        service.emitChange(R"({"return_data":[{"uniqueKey":"last"}],"data":{"result":77}})");
        ASSERT_TRUE(deliverSignalsOf(service.connection()));
        for (std::size_t index = 0; index < before.size(); ++index) {
            EXPECT_EQ(m_standing.calls[index], before[index] + 1) << index;
            EXPECT_EQ(m_standing.lastValue[index], 77) << index;
        }
    }

    void expectProgress() const {
        EXPECT_EQ(findings.wrong(), 0) << findings.example();
        for (const std::atomic<long> &rounds : m_rounds) {
            EXPECT_GT(rounds, 0) << "a thread made no progress";
        }
        EXPECT_GT(m_standing.calls[0], 0);
        EXPECT_GT(m_restarts, 0);
    }

    void printAndJudgeMemory() const {
        ASSERT_GE(m_samples.size(), enoughSamples);
        // The first quarter is warm-up.
        const std::size_t warm = m_samples.size() / 4;
        const std::size_t half = warm + (m_samples.size() - warm) / 2;
        const Process first = meanOf(m_samples, warm, half);
        const Process second = meanOf(m_samples, half, m_samples.size());
        long rounds = 0;
        for (const std::atomic<long> &count : m_rounds) {
            rounds += count;
        }
        std::printf("| figure                         | value          |\n");
        std::printf("|--------------------------------|----------------|\n");
        std::printf("| seconds                        | %14d |\n", m_seconds);
        std::printf("| threads                        | %14d |\n", threadCount);
        std::printf("| rounds of every entry point    | %14ld |\n", rounds);
        std::printf("| callback calls                 | %14ld |\n", m_standing.calls[0].load());
        std::printf("| log lines                      | %14ld |\n", logLines.load());
        std::printf("| service kills and restarts     | %14d |\n", m_restarts.load());
        std::printf("| wrong answers                  | %14ld |\n", findings.wrong());
        std::printf("| resident KiB, first half       | %14ld |\n", first.residentKiB);
        std::printf("| resident KiB, second half      | %14ld |\n", second.residentKiB);
        std::printf("| heap KiB, first half           | %14ld |\n", first.heapKiB);
        std::printf("| heap KiB, second half          | %14ld |\n", second.heapKiB);
        std::printf("| descriptors, before and after  | %6ld %7ld |\n", m_before.descriptors,
                    m_after.descriptors);
        std::printf("| own threads, before and after  | %6ld %7ld |\n", m_before.threads,
                    m_after.threads);
        EXPECT_EQ(m_after.threads, m_before.threads);
        EXPECT_EQ(m_after.descriptors, m_before.descriptors);
#ifndef SOAK_UNDER_SANITIZER
        EXPECT_LT(static_cast<double>(second.residentKiB),
                  static_cast<double>(first.residentKiB) * 1.05 + 1024);
        EXPECT_LT(static_cast<double>(second.heapKiB),
                  static_cast<double>(first.heapKiB) * 1.05 + 1024);
#endif
    }

 private:
    // Measured after a service has run and exited, and without pending calls: both need
    // descriptors.
    Process measureAtRest(const std::string &program) {
        {
            ChildProgram service({program, "--service", "0"});
            EXPECT_EQ(service.readLine(), "ready");
            useEveryEntryPoint(1);
        }
        Process rest = measureProcess();
        // The minimum of many measurements, as threads and descriptors may be released late.
        for (int sample = 0; sample < 100; ++sample) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            const Process now = measureProcess();
            rest.threads = std::min(rest.threads, now.threads);
            rest.descriptors = std::min(rest.descriptors, now.descriptors);
        }
        return rest;
    }

    void work(int number) {
        for (int turn = number; !m_over; ++turn) {
            useEveryEntryPoint(turn);
            ++m_rounds[static_cast<std::size_t>(number)];
        }
        --m_busy;
    }

    // Checked at the end of the duration; a slow machine runs longer.
    bool hasEnoughSamples() const {
        return m_samples.size() >= enoughSamples &&
               std::all_of(m_rounds.begin(), m_rounds.end(),
                           [](const std::atomic<long> &rounds) { return rounds > 0; });
    }

    void restartServices(const std::string &program) {
        const Clock::time_point end = Clock::now() + std::chrono::seconds(m_seconds);
        const Clock::time_point limit = end + std::chrono::seconds(60);
        while (Clock::now() < end || (!hasEnoughSamples() && Clock::now() < limit)) {
            {
                // Killed at the end of the scope.
                ChildProgram service({program, "--service", std::to_string(m_generation)});
                EXPECT_EQ(service.readLine(), "ready");
                std::unique_lock<std::mutex> lock(m_mutex);
                m_wake.wait_for(lock, std::chrono::seconds(1), [] { return false; });
            }
            // Measured after all queued signals were delivered, as they need memory.
            for (const long before = m_quietMoments;
                 m_quietMoments < before + 2 && Clock::now() < limit;) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            m_samples.push_back(measureProcess());
            m_generation += 1000000;
            ++m_restarts;
        }
        m_over = true;
        --m_busy;
    }

    void iterateUntilQuiet() {
        while (m_busy > 0) {
            g_main_context_iteration(nullptr, FALSE);
            if (g_main_context_pending(nullptr) == FALSE) {
                ++m_quietMoments;
                std::this_thread::yield();
            }
        }
    }

    int m_seconds;
    std::atomic<bool> m_over{false};
    std::atomic<int> m_busy{threadCount + 1};
    std::array<std::atomic<long>, threadCount> m_rounds{};
    std::atomic<int> m_restarts{0};
    std::atomic<long> m_quietMoments{0};
    long m_generation = 0;
    Standing m_standing;
    std::array<Registration, standingRegistrations> m_registrations{};
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<Process> m_samples;
    Process m_before;
    Process m_after;
};

std::string thisProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

TEST(SoakTest, HoldsUnderLoadWhileTheServiceComesAndGoes) {
    TestBus bus;
    Soak soak(variable("SOAK_SECONDS", 10));
    soak.run(thisProgram());
    soak.expectEveryRegistrationCalled(bus);
    soak.expectProgress();
    soak.printAndJudgeMemory();
}

}  // namespace

extern "C" int __dlog_print(int /*logId*/, int /*priority*/, const char * /*tag*/,
                            const char *format, ...) {
    // Formats the line as a platform does, so that sanitizers see invalid arguments.
    std::array<char, 512> line{};
    va_list arguments;
    va_start(arguments, format);
    const int size = std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    ++logLines;
    return size;
}

extern "C" char *vconf_get_str(const char * /*key*/) {
    return strdup(R"([{"SourceType":7,"EditName":"Game","DeviceType":3,"MbrActivityIndex":0},)"
                  R"({"SourceType":7,"DetectedName":"Player","DeviceType":4,)"
                  R"("MbrActivityIndex":1}])");
}

extern "C" int FerrelWaitEvent(const char * /*eventName*/, int /*timeout*/) {
    return 0;
}

std::string CSourceUtil::GetLagacySourceType(int sourceType) {
    return std::to_string(sourceType);
}

int main(int argc, char **argv) {
    if (argc == 3 && std::strcmp(argv[1], "--service") == 0) {
        return serveUnderLoad(std::stol(argv[2]), variable("SOAK_SIGNALS", 1000));
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
