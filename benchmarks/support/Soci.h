#pragma once

#include <benchmarks/support/Sqlite.h>

#include <memory>
#include <optional>
// SOCI's header includes SQLite's inside this namespace, and finds nothing there when it was included before.
namespace sqlite_api {
using ::sqlite3;
using ::sqlite3_int64;
using ::sqlite3_stmt;
} // namespace sqlite_api

#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <vector>

namespace Tolm::Benchmarks {

/// SOCI, with a statement made for each operation, or `Reused`.
template <bool Reused>
class Soci {
public:
    static constexpr const char *Name = Reused ? "SOCI, reused" : "SOCI";

    explicit Soci(const std::string &path)
        : m_session(soci::sqlite3, "db=" + path + " timeout=30")
    {}

    void run(const std::string &text) { m_session << text; }
    long long lastId()
    {
        long long id = 0;
        m_session.get_last_insert_id({}, id);
        return id;
    }

    template <class In, class Out>
    class Statement {
    public:
        Statement(Soci &connection, const char *text, In &in, Out &out)
            : m_session(connection.m_session)
            , m_text(text)
            , m_in(in)
            , m_out(out)
        {}

        template <class OnRow>
        void run(OnRow onRow)
        {
            if constexpr (Reused) {
                if (!m_kept)
                    m_kept.emplace(m_session, m_text, m_in, m_out);
                m_kept->run(onRow);
            } else {
                Bound bound(m_session, m_text, m_in, m_out);
                bound.run(onRow);
            }
        }

    private:
        // A statement, and the blobs that stand for its bytes.
        class Bound {
        public:
            Bound(soci::session &session, const char *text, In &in, Out &out)
                : m_session(session)
                , m_statement(session)
                , m_in(in)
                , m_out(out)
            {
                m_out.visit([&](auto &value) { m_statement.exchange(soci::into(exchanged(value, m_outBlobs))); });
                m_in.visit([&](auto &value) { m_statement.exchange(soci::use(exchanged(value, m_inBlobs))); });
                m_statement.alloc();
                m_statement.prepare(text);
                m_statement.define_and_bind();
            }

            template <class OnRow>
            void run(OnRow onRow)
            {
                auto inBlob = m_inBlobs.begin();
                m_in.visit([&](const auto &value) { write(value, inBlob); });
                // A statement without result columns is done by execute(); one that has some yields its first row.
                const bool hasRows = !std::is_same_v<Out, Nothing>;
                m_statement.execute(!hasRows);
                while (hasRows && m_statement.fetch()) {
                    auto outBlob = m_outBlobs.begin();
                    m_out.visit([&](auto &value) { read(value, outBlob); });
                    onRow();
                }
            }

        private:
            using Blobs = std::vector<std::unique_ptr<soci::blob>>;

            template <class T>
            T &exchanged(T &value, Blobs & /*blobs*/)
            {
                return value;
            }
            soci::blob &exchanged(Bytes & /*value*/, Blobs &blobs)
            {
                return *blobs.emplace_back(std::make_unique<soci::blob>(m_session));
            }

            template <class T>
            static void write(const T & /*value*/, Blobs::iterator & /*blob*/)
            {}
            static void write(const Bytes &value, Blobs::iterator &blob)
            {
                soci::blob &bytes = **blob++;
                bytes.trim(0);
                bytes.write(0, value.data.data(), value.data.size());
            }

            template <class T>
            static void read(T & /*value*/, Blobs::iterator & /*blob*/)
            {}
            static void read(Bytes &value, Blobs::iterator &blob)
            {
                soci::blob &bytes = **blob++;
                value.data.resize(bytes.get_len());
                bytes.read(0, value.data.data(), value.data.size());
            }

            soci::session &m_session;
            Blobs m_inBlobs{};
            Blobs m_outBlobs{};
            soci::statement m_statement;
            In &m_in;
            Out &m_out;
        };

        soci::session &m_session;
        const char *m_text;
        In &m_in;
        Out &m_out;
        std::optional<Bound> m_kept{};
    };

private:
    soci::session m_session;
};

} // namespace Tolm::Benchmarks
