// The tokenizer's straight way: what expat reports goes to a sink at once. The checks are those of the queue's way.
#include "host/linux/internal/xml_tokens.h"

#include <cstring>
#include <exception>

namespace qvlib::host
{

namespace
{

bool IsBlank(char const * text, std::size_t length) noexcept
{
    for (std::size_t i = 0; i < length; ++i)
    {
        char const c = text[i];
        if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
            return false;
    }
    return true;
}

} // namespace

struct XmlTokenizer::SinkHandlers
{
    // Nothing may be thrown through expat, and it may go on a little after it was stopped.
    template <class Work>
    static void Guarded(void * self, Work work) noexcept
    {
        XmlTokenizer & t = *static_cast<XmlTokenizer *>(self);
        ++t.m_calls;
        if (t.m_stopped != S_OK || t.m_sink->Done())
            return;
        try
        {
            work(t, *t.m_sink);
        }
        catch (std::exception const &)
        {
            t.Stop(E_OUTOFMEMORY);
            return;
        }
        if (t.m_sink->Done())
            XML_StopParser(t.m_parser, XML_FALSE);
    }

    static void XMLCALL Start(void * self, XML_Char const * name, XML_Char const ** attributes)
    {
        Guarded(self,
                [&](XmlTokenizer & t, XmlSink & sink)
                {
                    if (t.m_depth == t.m_maxDepth)
                        return t.Stop(SC_E_MAXELEMENTDEPTH);
                    if (NeedsNamespaces(name, attributes))
                    {
                        HRESULT const result = CheckNamespaces(t, name, attributes);
                        if (FAILED(result))
                            return t.Stop(result);
                    }
                    sink.Start(name, attributes, t.m_depth);
                    ++t.m_depth;
                });
    }

    static void XMLCALL End(void * self, XML_Char const * name)
    {
        Guarded(self,
                [&](XmlTokenizer & t, XmlSink & sink)
                {
                    --t.m_depth;
                    t.m_namespaces.Leave(t.m_depth);
                    sink.End(name, t.m_depth);
                });
    }

    static void XMLCALL Characters(void * self, XML_Char const * text, int length)
    {
        Guarded(self,
                [&](XmlTokenizer & t, XmlSink & sink)
                {
                    std::size_t const size = static_cast<std::size_t>(length);
                    sink.Text(text, size, IsBlank(text, size) && !t.IsReference(size));
                });
    }

    static void XMLCALL StartCData(void * self)
    {
        Guarded(self, [](XmlTokenizer &, XmlSink & sink) { sink.StartCData(); });
    }

    static void XMLCALL EndCData(void * self)
    {
        Guarded(self, [](XmlTokenizer &, XmlSink & sink) { sink.EndCData(); });
    }

    static void XMLCALL Comment(void * self, XML_Char const *)
    {
        Guarded(self, [](XmlTokenizer &, XmlSink & sink) { sink.Other(); });
    }

    static void XMLCALL Instruction(void * self, XML_Char const * target, XML_Char const *)
    {
        Guarded(self,
                [&](XmlTokenizer & t, XmlSink & sink)
                {
                    if (std::strchr(target, ':'))
                        return t.Stop(NC_E_NAMECOLON);
                    sink.Other();
                });
    }

    static void XMLCALL Declaration(void * self, XML_Char const *, XML_Char const * encoding, int)
    {
        Guarded(self,
                [&](XmlTokenizer & t, XmlSink & sink)
                {
                    if (!t.AllowsEncoding(encoding))
                        return t.Stop(MX_E_ENCODINGSWITCH);
                    sink.Other();
                });
    }

    static void XMLCALL Doctype(void * self, XML_Char const *, XML_Char const *, XML_Char const *, int)
    {
        Guarded(self, [](XmlTokenizer & t, XmlSink &) { t.Stop(WC_E_DTDPROHIBITED); });
    }

    static void XMLCALL Outside(void * self, XML_Char const * text, int length)
    {
        Guarded(self,
                [&](XmlTokenizer & t, XmlSink & sink)
                {
                    if (t.m_depth == 0 && length > 0 && IsBlank(text, static_cast<std::size_t>(length)))
                        sink.Other();
                });
    }

    static bool NeedsNamespaces(char const * name, char const * const * attributes) noexcept
    {
        if (std::strchr(name, ':'))
            return true;
        for (; *attributes; attributes += 2)
        {
            char const * const key = attributes[0];
            if (std::strchr(key, ':') || std::strncmp(key, "xmlns", 5) == 0)
                return true;
        }
        return false;
    }

    static HRESULT CheckNamespaces(XmlTokenizer & t, char const * name, char const * const * attributes)
    {
        t.m_text.clear();
        t.m_attributes.clear();
        XmlNode node{};
        node.depth = t.m_depth;
        node.nameLength = std::strlen(name);
        t.m_text.append(name, node.nameLength);
        bool colons = std::strchr(name, ':') != nullptr;
        for (; *attributes; attributes += 2)
        {
            colons = colons || std::strchr(attributes[0], ':');
            t.AddAttribute(attributes[0], std::strlen(attributes[0]), attributes[1], std::strlen(attributes[1]));
        }
        node.attributeCount = t.m_attributes.size();
        return t.BindNamespaces(node, colons, true);
    }
};

void XmlTokenizer::InstallSinkHandlers() noexcept
{
    XML_SetElementHandler(m_parser, SinkHandlers::Start, SinkHandlers::End);
    XML_SetCharacterDataHandler(m_parser, SinkHandlers::Characters);
    XML_SetCdataSectionHandler(m_parser, SinkHandlers::StartCData, SinkHandlers::EndCData);
    XML_SetCommentHandler(m_parser, SinkHandlers::Comment);
    XML_SetProcessingInstructionHandler(m_parser, SinkHandlers::Instruction);
    XML_SetXmlDeclHandler(m_parser, SinkHandlers::Declaration);
    XML_SetDoctypeDeclHandler(m_parser, SinkHandlers::Doctype, nullptr);
    XML_SetDefaultHandler(m_parser, SinkHandlers::Outside);
}

} // namespace qvlib::host
