#include "platform/gl/GLTimer.h"

#include "platform/gl/GLApi.h"

GLTimer::~GLTimer() {
    std::vector<GLuint> queries = std::move(m_queries);
    if (m_open) queries.push_back(m_open);
    if (!queries.empty()) m_device->post([queries] { glDeleteQueries(GLsizei(queries.size()), queries.data()); });
}

void GLTimer::begin() {
    if (m_open) return; // intervals do not nest
    m_device->run([&] {
        glGenQueries(1, &m_open);
        glBeginQuery(GL_TIME_ELAPSED, m_open);
    });
}

void GLTimer::end() {
    if (!m_open) return;
    m_device->run([&] { glEndQuery(GL_TIME_ELAPSED); });
    m_queries.push_back(m_open);
    m_open = 0;
}

std::vector<double> GLTimer::collectMilliseconds() {
    std::vector<double> out;
    if (m_queries.empty()) return out;
    m_device->run([&] {
        for (GLuint q : m_queries) {
            GLuint64 nanoseconds = 0;
            glGetQueryObjectui64v(q, GL_QUERY_RESULT, &nanoseconds); // waits for the GPU
            out.push_back(double(nanoseconds) / 1e6);
        }
        glDeleteQueries(GLsizei(m_queries.size()), m_queries.data());
    });
    m_queries.clear();
    return out;
}
