// Costs of the lock, slot and timer families against what they stand on or
// in for: a bare critical section and std::mutex, std::condition_variable,
// TlsGetValue, and a standard priority queue of heap records. Prints
// nanoseconds per operation and the ratio to the reference.
#include <windows.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

#include "ruvo/base/clock.h"
#include "ruvo/base/sync.h"
#include "ruvo/base/thread.h"
#include "ruvo/base/timer.h"

namespace {

double now_ns() {
  static LARGE_INTEGER frequency = [] {
    LARGE_INTEGER f;
    ::QueryPerformanceFrequency(&f);
    return f;
  }();
  LARGE_INTEGER c;
  ::QueryPerformanceCounter(&c);
  return static_cast<double>(c.QuadPart) * 1e9 / static_cast<double>(frequency.QuadPart);
}

template <class F>
double ns_per_op(long n, F body) {
  const double start = now_ns();
  body(n);
  return (now_ns() - start) / static_cast<double>(n);
}

void report(const char *what, double ours, const char *reference, double theirs) {
  std::printf("%-34s %9.1f ns   %-28s %9.1f ns   ratio %6.2f\n", what, ours, reference, theirs,
              ours / theirs);
}

// Two threads hand a turn back and forth `n` times through one lock and
// condition; Lock and Cond are the family's or the standard's.
template <class Wait, class Wake, class Lock, class Unlock>
void ping_pong(long n, Wait wait, Wake wake, Lock lock, Unlock unlock) {
  int turn = 0;
  auto side = [&](int me) {
    for (long i = 0; i < n; ++i) {
      lock();
      while (turn != me) wait();
      turn = 1 - me;
      wake();
      unlock();
    }
  };
  std::thread other(side, 1);
  side(0);
  other.join();
}

volatile uintptr_t g_sink;

}  // namespace

int main() {
  constexpr long kLocks = 2000000, kHandOvers = 5000, kSlots = 10000000, kTimers = 1000000;

  ruvo_mutex_st *m = nullptr;
  ruvo_mutex_init(&m);
  CRITICAL_SECTION section;
  ::InitializeCriticalSection(&section);
  std::mutex std_mutex;
  const double ours = ns_per_op(kLocks, [&](long n) {
    for (long i = 0; i < n; ++i) {
      ruvo_mutex_lock(m);
      ruvo_mutex_unlock(m);
    }
  });
  report("mutex lock+unlock", ours, "critical section", ns_per_op(kLocks, [&](long n) {
           for (long i = 0; i < n; ++i) {
             ::EnterCriticalSection(&section);
             ::LeaveCriticalSection(&section);
           }
         }));
  report("mutex lock+unlock", ours, "std::mutex", ns_per_op(kLocks, [&](long n) {
           for (long i = 0; i < n; ++i) {
             std_mutex.lock();
             std_mutex.unlock();
           }
         }));

  ruvo_cond_st *c = nullptr;
  ruvo_cond_init(&c);
  std::condition_variable std_cond;
  report("cond hand-over", ns_per_op(kHandOvers, [&](long n) {
           ping_pong(n, [&] { ruvo_cond_wait(c, m); }, [&] { ruvo_cond_signal(c); },
                     [&] { ruvo_mutex_lock(m); }, [&] { ruvo_mutex_unlock(m); });
         }),
         "std::condition_variable", ns_per_op(kHandOvers, [&](long n) {
           int turn = 0;
           auto side = [&](int me) {
             for (long i = 0; i < n; ++i) {
               std::unique_lock<std::mutex> lock(std_mutex);
               std_cond.wait(lock, [&] { return turn == me; });
               turn = 1 - me;
               std_cond.notify_one();
             }
           };
           std::thread other(side, 1);
           side(0);
           other.join();
         }));

  ruvo_tls_key_st *key = ruvo_tls_alloc();
  ruvo_tls_set(key, const_cast<uintptr_t *>(&g_sink));
  report("ruvo_tls_get", ns_per_op(kSlots, [&](long n) {
           void *value = nullptr;
           for (long i = 0; i < n; ++i) {
             ruvo_tls_get(key, &value);
             g_sink = reinterpret_cast<uintptr_t>(value);
           }
         }),
         "TlsGetValue", ns_per_op(kSlots, [&](long n) {
           for (long i = 0; i < n; ++i) {
             g_sink = reinterpret_cast<uintptr_t>(::TlsGetValue(key->index));
           }
         }));

  // The timer reads this clock once per start.
  report("tick count", ns_per_op(kTimers, [](long n) {
           for (long i = 0; i < n; ++i) g_sink = ruvo_time_get_tick_cout();
         }),
         "GetTickCount64", ns_per_op(kTimers, [](long n) {
           for (long i = 0; i < n; ++i) g_sink = ::GetTickCount64();
         }));

  struct record {
    uint64_t expiry;
    int stopped;
  };
  auto later = [](record *a, record *b) { return a->expiry > b->expiry; };
  std::priority_queue<record *, std::vector<record *>, decltype(later)> queue(later);
  ruvo_bstimer_init();
  report("timer start+stop", ns_per_op(kTimers, [&](long n) {
           for (long i = 0; i < n; ++i) {
             ruvo_bstimer_stop(ruvo_bstimer_start(60000 + i % 1000, nullptr, nullptr));
           }
         }),
         "priority_queue push of new", ns_per_op(kTimers, [&](long n) {
           for (long i = 0; i < n; ++i) {
             auto *r = static_cast<record *>(std::malloc(sizeof(record)));
             r->expiry = ::GetTickCount64() + 60000 + i % 1000;
             r->stopped = 1;
             queue.push(r);
           }
         }));
  return 0;
}
