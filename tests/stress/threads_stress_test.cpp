// Eight threads using the library at once, each on its own handles, as a
// driver manager calls a driver from several threads: handle trees with
// ordinary and cached blocks, values, diagnostics, connection strings, long
// buffers and trace lines, for a bounded number of rounds. Every thread
// checks its own results exactly; the trace log and the long-data file
// names are checked across threads at the end. The test is also built and
// run under ThreadSanitizer (make test-tsan), where any data race between
// the threads fails the run.
#include "kxsupp/config.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"

#include <gtest/gtest.h>

#include "memory/hashlib_internal.h"
#include "support/kx_test_files.h"

#include <limits.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 600;

// Texts joined by appending, piece by piece ("literal" + std::string draws a
// false -Wrestrict from GCC 12 at -O3).
std::string piece(const std::string &text) { return text; }
std::string piece(const char *text) { return text; }
std::string piece(int number) { return std::to_string(number); }

template <typename... Parts>
std::string cat(const Parts &...parts)
{
    std::string joined;
    ((joined += piece(parts)), ...);
    return joined;
}

// Trace categories: lines of kCounted are always on, so their number is
// exact; kFlipped is switched on and off by another thread while the
// workers trace.
constexpr uint32_t kCounted = 1;
constexpr uint32_t kFlipped = 2;

// What a worker failed at, with its thread and round (empty: nothing).
struct Failures {
    std::mutex mutex;
    std::vector<std::string> list;
    void add(int thread, int round, const std::string &what)
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (list.size() < 20)
            list.push_back(cat("thread ", thread, " round ", round, ": ", what));
    }
};

// Long-data file names seen by all threads: each must be new.
struct Names {
    std::mutex mutex;
    std::set<std::string> seen;
    int repeated = 0;
    void add(const char *name)
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (!seen.insert(name).second)
            repeated++;
    }
};

class Worker {
public:
    Worker(int id, Failures *failures, Names *names)
        : id_(id), failures_(failures), names_(names)
    {
    }

    void run()
    {
        config_ = open_registry();
        if (config_ == nullptr) {
            failures_->add(id_, -1, "open_registry");
            return;
        }
        for (int round = 0; round < kRounds; round++) {
            round_ = round;
            MemHandle *root = kx_mem_alloc_handle(nullptr);
            if (root == nullptr) {
                fail("kx_mem_alloc_handle");
                break;
            }
            handle_tree(root);
            values(root);
            diagnostics(root);
            connection_strings(root);
            long_buffers(root);
            hash_tables();
            trace();
            kx_mem_release_handle(root);
        }
        close_registry(config_);
    }

private:
    void fail(const std::string &what) { failures_->add(id_, round_, what); }
    void expect(bool ok, const std::string &what)
    {
        if (!ok)
            fail(what);
    }
    std::string mark() const
    {
        return cat("t", id_, "r", round_);
    }

    // A tree of handles holding ordinary blocks of the cached sizes and
    // beyond, and cached node kinds; each block carries a pattern that is
    // checked before the blocks are freed one by one or with their handle.
    void handle_tree(MemHandle *root)
    {
        static const size_t sizes[] = {0, 8, 32, 200, 1000, 1024, 1025, 5000};
        MemHandle *child = kx_mem_alloc_handle(root);
        MemHandle *grandchild = kx_mem_alloc_handle(child);
        expect(child != nullptr && grandchild != nullptr, "child handles");
        if (child == nullptr || grandchild == nullptr)
            return;
        struct Block {
            unsigned char *p;
            size_t size;
            unsigned char fill;
        };
        std::vector<Block> blocks;
        for (int i = 0; i < 40; i++) {
            size_t size = sizes[i % 8];
            MemHandle *h = i % 3 == 0 ? root : i % 3 == 1 ? child : grandchild;
            void *p = i % 4 == 3 ? kx_mem_alloc_node(h, 64, 900 + id_)
                                 : kx_mem_alloc(h, size);
            if (i % 4 == 3)
                size = 64;
            expect(p != nullptr, "allocation");
            if (p == nullptr)
                return;
            unsigned char fill = static_cast<unsigned char>(id_ * 31 + i);
            std::memset(p, fill, size);
            blocks.push_back({static_cast<unsigned char *>(p), size, fill});
        }
        for (const Block &b : blocks)
            for (size_t k = 0; k < b.size; k++)
                if (b.p[k] != b.fill) {
                    fail("block contents changed");
                    return;
                }
        // Every other block freed by hand, the rest with the tree.
        for (size_t i = 0; i < blocks.size(); i += 2)
            kx_mem_free(nullptr, blocks[i].p);
        void *shared = kx_mem_alloc(grandchild, 16);
        expect(kx_mem_clone(grandchild, shared) == shared, "clone");
        kx_mem_free(grandchild, shared);
        kx_mem_release_handle(child);
        expect(root->first_child == nullptr, "child left in the tree");
    }

    // NewValue sets only the record's kind, handle, reference count and
    // text room; a recycled record holds its previous life in the rest.
    static void clear_other_fields(Value *v)
    {
        v->length = 0;
        v->data_length = 0;
        v->share_block = 0;
        std::memset(v->attr, 0, sizeof v->attr);
        v->null_flag = 0;
        v->long_buffer = nullptr;
        std::memset(v->driver, 0, sizeof v->driver);
    }

    Value *text_value(MemHandle *h, const std::string &text, int32_t declared)
    {
        Value *v = NewValue(h, static_cast<int32_t>(text.size()) + 1);
        if (v == nullptr)
            return nullptr;
        clear_other_fields(v);
        v->type = VALUE_STRING;
        v->null_flag = 0;
        v->length = declared;
        v->data_length = static_cast<int32_t>(text.size());
        std::memcpy(v->payload.text, text.c_str(), text.size() + 1);
        return v;
    }

    Value *integer_value(MemHandle *h, int32_t n)
    {
        Value *v = NewValue(h, 0);
        if (v == nullptr)
            return nullptr;
        clear_other_fields(v);
        v->inline_buffer = 0;
        v->type = VALUE_INTEGER;
        v->null_flag = 0;
        v->payload.integer = n;
        return v;
    }

    // Texts compared blank-padded, integers rendered and compared, values
    // duplicated and released.
    void values(MemHandle *root)
    {
        std::string base = cat("value-", mark());
        Value *a = text_value(root, base, static_cast<int32_t>(base.size()));
        Value *b = text_value(root, base + "   ", static_cast<int32_t>(base.size()) + 3);
        Value *c = text_value(root, base + "x", static_cast<int32_t>(base.size()) + 1);
        int32_t n = id_ * 100000 + round_;
        Value *i = integer_value(root, n);
        expect(a && b && c && i, "NewValue");
        if (!(a && b && c && i))
            return;
        expect(compare_values(a, b) == 0, "trailing blanks are not significant");
        expect(compare_values(b, a) == 0, "trailing blanks, other way round");
        expect(compare_values(a, c) < 0, "shorter text sorts first");
        expect(compare_values(c, b) > 0, "'x' sorts after a blank");
        char text[64];
        const char *rendered = value_as_text_n(i, text, sizeof text, nullptr);
        expect(rendered != nullptr && std::to_string(n) == rendered, "integer as text");
        Value *copy = duplicate_value(root, c);
        expect(copy != nullptr && compare_values(copy, c) == 0 &&
                   std::strcmp(get_string_from_value(copy), (base + "x").c_str()) == 0,
               "duplicate_value");
        release_value(root, copy);
        release_value(root, a);
        release_value(root, i);
    }

    // Records posted to a header and read back, ODBC 3 states.
    void diagnostics(MemHandle *root)
    {
        ErrorHeader *header = CreateErrorHeader(root, nullptr);
        expect(header != nullptr, "CreateErrorHeader");
        if (header == nullptr)
            return;
        SetupErrorHeader(header, 0);
        for (int k = 0; k < 3; k++)
            PostError(header, 1, 0, nullptr, 100 + k, 0, "ODBC 3.0", "HY000",
                      "failure %d of %s", k, mark().c_str());
        SetReturnCode(header, -1);
        for (int k = 0; k < 3; k++) {
            char state[6] = {};
            char message[256] = {};
            int32_t native = 0;
            int16_t length = 0;
            int16_t rc = GetDiagRec(header, k + 1, state, &native, message,
                                    sizeof message, &length);
            std::string expected = cat("[Varnel ODBC]failure ", k, " of ", mark());
            expect(rc == 0 && std::string(state) == "HY000" && native == 100 + k &&
                       message == expected &&
                       length == static_cast<int16_t>(expected.size()),
                   cat("GetDiagRec ", k + 1, ": ", message));
        }
        char state[6] = {};
        expect(GetDiagRec(header, 4, state, nullptr, nullptr, 0, nullptr) == 100,
               "no fourth record");
        FreeErrorHeader(header);
    }

    // A connection string parsed, changed and generated again.
    void connection_strings(MemHandle *root)
    {
        std::string user = cat("user", mark());
        std::string text = cat("DSN=Sales;UID=", user, ";PWD=secret");
        ConnectionString cs;
        init_con_str(&cs);
        parse_connection_string(&cs, root, text.c_str(), KX_NTS, 0);
        expect(cs.count == 3, "three pairs");
        const char *uid = get_attribute_value(&cs, "uid");
        expect(uid != nullptr && user == uid, "UID value");
        modify_connection_string(&cs, "PWD", "changed", root);
        char out[256] = {};
        generate_connection_string_ex(&cs, out);
        expect(std::string(out) == cat("DSN=Sales;UID=", user, ";PWD=changed;"),
               std::string("generated: ") + out);
    }

    // A long text appended in pieces, read back in pieces of 7 octets.
    void long_buffers(MemHandle *root)
    {
        LongBuffer *lb = allocate_long_buffer(root, 0, 0, config_, -1);
        expect(lb != nullptr, "allocate_long_buffer");
        if (lb == nullptr)
            return;
        names_->add(lb->file_name);
        std::string whole;
        for (int k = 0; k < 5; k++) {
            std::string part = cat(mark(), "/piece", k, ";");
            append_to_long_buffer(lb, part.c_str(), KX_NTS);
            whole += part;
        }
        expect(long_buffer_length(lb) == static_cast<int32_t>(whole.size()),
               "long buffer length");
        rewind_long_buffer(lb);
        std::string back;
        int32_t expected_remaining = static_cast<int32_t>(whole.size());
        for (;;) {
            char piece[7];
            int32_t remaining = 0;
            int32_t rc = extract_from_long_buffer(lb, piece, sizeof piece, &remaining, 0);
            if (rc < 0 || remaining != expected_remaining) {
                fail("extract_from_long_buffer");
                break;
            }
            back += piece;
            expected_remaining -= static_cast<int32_t>(std::strlen(piece));
            if (rc == 0)
                break;
        }
        expect(back == whole, "long data read back");
        kx_mem_free(root, lb);
    }

    // A table of the thread's own, and an item in a table made for a null
    // table argument, which every thread adds to the library's chain of such
    // tables at once.
    void hash_tables()
    {
        static const char *const keys[] = {"alpha", "beta", "gamma", "delta", "epsilon"};
        HashTable *table = kx_make_hash_table(7);
        expect(table != nullptr, "kx_make_hash_table");
        if (table == nullptr)
            return;
        for (int k = 0; k < 5; k++) {
            HashItem *item = kx_add_hash_item(keys[k], table);
            expect(item != nullptr && item->use_count == 0, "new item");
            if (item != nullptr)
                item->data = id_ * 1000 + k;
        }
        for (int k = 0; k < 5; k++) {
            HashItem *item = kx_find_hash_item(keys[k], table);
            expect(item != nullptr && item->data == id_ * 1000 + k && item->use_count == 1,
                   std::string("found ") + keys[k]);
        }
        HashItem *removed = kx_remove_hash_item("gamma", table);
        expect(removed != nullptr && kx_find_hash_item("gamma", table) == nullptr,
               "removed item");
        std::free(removed);
        kx_flush_hash_table(table, nullptr, 0);
        kx_dispose_hash_table(table);
        if (round_ % 50 == 0) {
            HashItem *orphan = kx_add_hash_item(keys[id_ % 5], nullptr);
            expect(orphan != nullptr && orphan->key == keys[id_ % 5], "item of a new table");
        }
    }

    // Lines in both categories; only the counted ones are certain to be
    // written.
    void trace()
    {
        std::string tag = cat("stress", id_);
        log_message(tag.c_str(), round_, kCounted, "round=%I mark=%s rc=%e", round_,
                    mark().c_str(), 0);
        log_message(tag.c_str(), round_, kFlipped, "flipped %I", round_);
    }

    int id_;
    int round_ = 0;
    Failures *failures_;
    Names *names_;
    ProfileHandle *config_ = nullptr;
};

class ThreadsStress : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(getcwd(saved_cwd_, sizeof saved_cwd_), nullptr);
        dir_ = kxtest::make_temp_dir("kxstress.");
        ASSERT_FALSE(dir_.empty());
        log_ = cat(dir_, "/trace.log");
        kxtest::write_file(cat(dir_, "/odbc.ini"), cat("{default}\nblob_path = ", dir_,
                                                       "\n{settings}\nlog_file = ", log_,
                                                       "\n"));
        ASSERT_EQ(chdir(dir_.c_str()), 0);
        saved_mask_ = __atomic_load_n(&error_mask, __ATOMIC_RELAXED);
        __atomic_store_n(&error_mask, kCounted, __ATOMIC_RELAXED);
    }
    void TearDown() override
    {
        __atomic_store_n(&error_mask, saved_mask_, __ATOMIC_RELAXED);
        ASSERT_EQ(chdir(saved_cwd_), 0);
        kxtest::remove_tree(dir_);
    }

    char saved_cwd_[PATH_MAX];
    std::string dir_;
    std::string log_;
    uint32_t saved_mask_ = 0;
};

TEST_F(ThreadsStress, EightThreadsEachOnTheirOwnHandles)
{
    Failures failures;
    Names names;
    size_t orphans_before = kx::hash_orphan_table_count();
    std::atomic<int> ready{0};
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([t, &failures, &names, &ready] {
            Worker worker(t, &failures, &names);
            ready++;
            while (ready.load() < kThreads) {
            }
            worker.run();
        });
    // The application flips a category on and off while the workers trace.
    std::thread flipper([&done] {
        while (!done.load())
            __atomic_fetch_xor(&error_mask, kFlipped, __ATOMIC_RELAXED);
    });
    for (std::thread &t : threads)
        t.join();
    done = true;
    flipper.join();

    for (const std::string &f : failures.list)
        ADD_FAILURE() << f;
    // Every thread's tables made for a null table argument are on the chain.
    EXPECT_EQ(kx::hash_orphan_table_count() - orphans_before,
              static_cast<size_t>(kThreads * ((kRounds + 49) / 50)));
    kx::hash_free_orphan_tables();
    EXPECT_EQ(names.seen.size(), static_cast<size_t>(kThreads * kRounds));
    EXPECT_EQ(names.repeated, 0);

    // Every counted line once, whole; flipped lines whole where written.
    std::map<std::string, int> counted;
    std::istringstream in(kxtest::read_file(log_));
    std::string line;
    int flipped = 0;
    int broken = 0;
    while (std::getline(in, line)) {
        size_t colon = line.find(':');
        std::string body = colon == std::string::npos ? "" : line.substr(colon + 1);
        if (body.rfind("round=", 0) == 0) {
            // "round=R mark=0x...->tTrR rc=SQL_SUCCESS": drop the pointer.
            size_t arrow = body.find("->");
            size_t mark = body.find(" mark=");
            if (arrow == std::string::npos || mark == std::string::npos) {
                broken++;
                continue;
            }
            counted[cat(line.substr(0, colon + 1), body.substr(0, mark), " ",
                        body.substr(arrow + 2))]++;
        } else if (body.rfind("flipped ", 0) == 0) {
            flipped++;
        } else {
            broken++;
        }
    }
    EXPECT_EQ(broken, 0);
    EXPECT_LE(flipped, kThreads * kRounds);
    EXPECT_EQ(counted.size(), static_cast<size_t>(kThreads * kRounds));
    for (int t = 0; t < kThreads; t++)
        for (int r = 0; r < kRounds; r++) {
            std::string number = std::to_string(r);
            number.insert(0, 4 - number.size(), '0');
            std::string header =
                cat("[", static_cast<int>(getpid()), "]stress", t, "@", number);
            header.resize(30, ' ');
            std::string key = cat(header, ":round=", r, " t", t, "r", r, " rc=SQL_SUCCESS");
            EXPECT_EQ(counted[key], 1) << key;
        }
}

}  // namespace
