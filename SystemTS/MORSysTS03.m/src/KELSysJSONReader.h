// Parse and build in one go, without a token array: what a reader that wants only the tree uses, so
// that a text costs it the tree and a few bytes per container rather than a 20-byte record per token
// beside the tree.
//
// It reads exactly as the tokenizer and the walk over its tokens do (every text is accepted or
// refused alike, and the sink hears the same events in the same order), in two passes over the text:
//
//   1. A token machine that keeps, instead of every token, only the spine: the last token and its
//      chain of parents up to a top-level token. Every step of the tokenizer looks at no token off
//      that chain (the enclosing token, the open containers and the top-level token all lie on it),
//      so the spine answers all of them. This pass checks the whole text and counts the members of
//      every container, in the order the containers open.
//   2. The same machine again, now telling each token to a walk that takes tokens as they come
//      instead of looking them up: it knows every container's count from the first pass, so it
//      makes each container with its room at once and checks each count as the walk closes it. It
//      stops as soon as the first value is walked (the first pass has checked the rest).
//
// The spine is short in practice: deeper than the open containers only where colons chain tokens
// below scalars ("1:2:3"), which the first pass alone meets, since the walk stops at the first such
// scalar.
#ifndef KELSysJSONReader_H
#define KELSysJSONReader_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "KELSysJSONArray.h"
#include "KELSysJSONBlock.h"
#include "KELSysJSONObject.h"
#include "KELSysJSONPair.h"
#include "KELSysJSONPrimitive.h"
#include "KELSysJSONPrivate.h"

// A token on the spine.
struct KELSysJSONSpineLink {
  int32_t m_Token;       // its index among the tokens
  int32_t m_Type;        // KELSysJSONTokenType
  int32_t m_Outer;       // for an open container: spine position of the one open around it, -1 for none
  uint32_t m_Container;  // for a container: its number, counted in the order containers open
};

// Working storage kept between reads.
struct KELSysJSONReadWork {
  std::vector<KELSysJSONSpineLink> m_Spine;
  std::vector<uint32_t> m_Counts;  // members of each container, by number
  struct Frame {
    int32_t m_Token;
    int32_t m_Type;
    uint32_t m_Count;  // members walked
    uint32_t m_Size;   // members the first pass counted
  };
  std::vector<Frame> m_Frames;

  // Gives back storage that one big text made grow.
  void Trim() {
    constexpr size_t l_Keep = 64 * 1024;
    if (m_Spine.capacity() * sizeof(KELSysJSONSpineLink) > l_Keep)
      std::vector<KELSysJSONSpineLink>().swap(m_Spine);
    if (m_Counts.capacity() * sizeof(uint32_t) > l_Keep) std::vector<uint32_t>().swap(m_Counts);
    if (m_Frames.capacity() * sizeof(Frame) > l_Keep) std::vector<Frame>().swap(m_Frames);
  }
};

// The spine token machine (see KELSysJSONLex). It tells its Listener of every token as
// Token(index, type, start, end, parent index, container number), which answers 0 to go on or
// KELSysJSONReadStop to end the pass, of every member a container gains as Member(number, type),
// and of the bytes its own storage is about to take as Grows(bytes). Storage that cannot grow
// throws std::bad_alloc.
inline constexpr int32_t KELSysJSONReadStop = -100;

template <class Listener>
class KELSysJSONSpine {
 public:
  KELSysJSONSpine(Listener& ioListener, std::vector<KELSysJSONSpineLink>& ioSpine)
      : m_Listener(&ioListener), m_Spine(&ioSpine) {
    if (m_Spine->size() < 64) m_Spine->resize(64);
    m_Links = m_Spine->data();
    m_Room = m_Spine->size();
  }

  uint32_t m_Pos = 0;   // the byte being read; after a failure, the byte a report points at
  uint32_t m_Most = 0;  // the most links the spine held

  // The number of tokens, one of KELSysJSONTokenizeResult, or KELSysJSONReadStop.
  int32_t Run(const char* iText, uint32_t iLength) {
    const int32_t l_Result = KELSysJSONLex::Pass(*this, iText, iLength);
    if (l_Result != 0) return l_Result;
    return m_Inner != -1 ? KELSysJSONTokenizeIncomplete : static_cast<int32_t>(m_Next);
  }

  [[gnu::always_inline]] int32_t Open(int32_t iType) {
    if (m_Depth >= KELSysJSONMaxDepth) return KELSysJSONTokenizeTooDeep;
    const int32_t l_Result = Take(iType, static_cast<int32_t>(m_Pos), -1);
    m_Links[m_Size - 1].m_Outer = m_Inner;
    m_Super = m_Inner = static_cast<int32_t>(m_Size) - 1;
    ++m_Depth;
    return l_Result;
  }

  // The enclosing token of a closed container is the one below it on the spine.
  [[gnu::always_inline]] int32_t Close(int32_t iType) {
    if (m_Next == 0) return KELSysJSONTokenizeInvalid;
    if (m_Inner == -1) return m_RootType == iType && m_Super != -1 ? 0 : KELSysJSONTokenizeInvalid;
    const KELSysJSONSpineLink& l_Open = m_Links[m_Inner];
    if (l_Open.m_Type != iType) return KELSysJSONTokenizeInvalid;
    m_Super = m_Inner - 1;
    m_Inner = l_Open.m_Outer;
    --m_Depth;
    return 0;
  }

  [[gnu::always_inline]] int32_t Leaf(int32_t iType, int32_t iStart, int32_t iEnd) {
    return Take(iType, iStart, iEnd);
  }

  void Colon() {
    if (m_Loose) {
      Push({m_LooseToken, m_LooseType, -1, 0});
      m_Loose = false;
    }
    m_Super = static_cast<int32_t>(m_Size) - 1;
  }
  void Comma() {
    if (m_Super != -1 && !IsContainer(m_Links[m_Super].m_Type)) --m_Super;
  }

 private:
  static bool IsContainer(int32_t iType) {
    return iType == KELSysJSONTokenObject || iType == KELSysJSONTokenArray;
  }

  // A new token below the enclosing one, which the spine keeps with its parents; what lay above
  // the enclosing token can never enclose a token again. A string or primitive mostly stays the
  // last token only until the next: it is kept aside, and put on the spine only when a colon makes
  // it the enclosing token.
  [[gnu::always_inline]] int32_t Take(int32_t iType, int32_t iStart, int32_t iEnd) {
    int32_t l_Parent = -1;
    if (m_Super != -1) {
      const KELSysJSONSpineLink& l_Super = m_Links[m_Super];
      l_Parent = l_Super.m_Token;
      if (IsContainer(l_Super.m_Type)) m_Listener->Member(l_Super.m_Container, l_Super.m_Type);
      m_Size = static_cast<uint32_t>(m_Super) + 1;
    } else {
      m_Size = 0;
      m_RootType = iType;
    }
    m_Loose = !IsContainer(iType);
    if (m_Loose) {
      m_LooseToken = static_cast<int32_t>(m_Next);
      m_LooseType = iType;
    } else {
      Push({static_cast<int32_t>(m_Next), iType, -1, m_Containers});
    }
    const int32_t l_Result =
        m_Listener->Token(static_cast<int32_t>(m_Next), iType, iStart, iEnd, l_Parent, m_Containers);
    ++m_Next;
    if (IsContainer(iType)) ++m_Containers;
    return l_Result;
  }

  void Push(const KELSysJSONSpineLink& iLink) {
    if (m_Size == m_Room) Grow();
    m_Links[m_Size++] = iLink;
    if (m_Size > m_Most) m_Most = m_Size;
  }

  void Grow() {
    m_Listener->Grows(m_Size);
    m_Spine->resize(m_Room * 2);
    m_Links = m_Spine->data();
    m_Room = m_Spine->size();
  }

  Listener* m_Listener;
  std::vector<KELSysJSONSpineLink>* m_Spine;  // storage of the links; its size is the room
  KELSysJSONSpineLink* m_Links;
  size_t m_Room;
  uint32_t m_Size = 0;        // tokens on the spine
  uint32_t m_Next = 0;        // tokens so far
  uint32_t m_Containers = 0;  // containers so far
  int32_t m_Super = -1;       // spine position of the enclosing token, -1 for none
  int32_t m_Inner = -1;       // spine position of the innermost open container, -1 for none
  int32_t m_RootType = KELSysJSONTokenUndefined;
  uint32_t m_Depth = 0;  // containers open
  bool m_Loose = false;  // the last token is a string or primitive above the spine
  int32_t m_LooseToken = -1;
  int32_t m_LooseType = KELSysJSONTokenUndefined;
};

// First pass: counts every container's members, and weighs what the text will cost to read: the
// blocks the build will take for its containers, strings and keys (exactly as KELSysJSONBlock and
// KELSysJSONBytes make them), and the passes' own storage, taken as twice what they use of it (room
// grows by doubling): 4 bytes a container for its count, a link on the spine for the longest chain
// of tokens it held. A text that would cost more than the budget throws std::bad_alloc, as if
// memory had run out: as soon as that storage alone would take more than a quarter of it (it then
// grows with its old room still held), and at the end when everything together would take more. The
// verdict depends on the text and the budget only, not on room left over from earlier texts.
class KELSysJSONCounter {
 public:
  KELSysJSONCounter(std::vector<uint32_t>& ioCounts, size_t iBudget) : m_Counts(ioCounts), m_Budget(iBudget) {
    m_Counts.clear();
  }
  [[gnu::always_inline]] int32_t Token(int32_t, int32_t iType, int32_t iStart, int32_t iEnd, int32_t,
                                       uint32_t) {
    if (iType == KELSysJSONTokenObject || iType == KELSysJSONTokenArray) {
      if (m_Counts.size() == m_Counts.capacity()) MoreCounts();
      m_Counts.push_back(0);
    } else if (iType == KELSysJSONTokenString && iEnd > iStart) {
      m_Tree += KELSysJSONBytes::Size(static_cast<uint32_t>(iEnd - iStart));
    }
    return 0;
  }
  [[gnu::always_inline]] void Member(uint32_t iContainer, int32_t iType) {
    const bool l_Object = iType == KELSysJSONTokenObject;
    if (m_Counts[iContainer]++ == 0)
      m_Tree +=
          l_Object ? KELSysJSONBlock::Size<KELSysJSONObject>(0) : KELSysJSONBlock::Size<KELSysJSONArray>(0);
    m_Tree += l_Object ? sizeof(KELSysJSONPair) : sizeof(KELSysJSONValue);
  }
  // The spine holds iLinks links and needs room for more.
  void Grows(size_t iLinks) {
    m_Links = iLinks;
    CheckStorage();
  }

  // The bytes the tree's blocks will take.
  size_t Tree() const { return m_Tree; }
  // After the pass, with the most links the spine held: throws std::bad_alloc when the storage alone
  // would take more than a quarter of the budget, or everything together more than all of it.
  void Check(size_t iLinks) {
    m_Links = iLinks;
    CheckStorage();
    if (m_Tree + Storage() > m_Budget) throw std::bad_alloc();
  }

 private:
  size_t Storage() const {
    return 2 * (m_Counts.size() * sizeof(uint32_t) + m_Links * sizeof(KELSysJSONSpineLink));
  }
  void CheckStorage() const {
    if (Storage() > m_Budget / 4) throw std::bad_alloc();
  }
  void MoreCounts() {
    CheckStorage();
    m_Counts.reserve(m_Counts.capacity() < 1024 ? 1024 : 2 * m_Counts.capacity());
  }

  std::vector<uint32_t>& m_Counts;
  size_t m_Budget;
  size_t m_Links = 0;  // the most links the spine held so far, as last told
  size_t m_Tree = 0;
};

// Second pass: the walk, told one token at a time, driving a sink as the tree walk does (see
// KELSysJSONWalker for the sink and what the walk rejects).
template <class Sink>
class KELSysJSONStreamWalk {
 public:
  using Frame = KELSysJSONReadWork::Frame;

  KELSysJSONStreamWalk(Sink& ioSink, const char* iText, const std::vector<uint32_t>& iCounts,
                       std::vector<Frame>& ioFrames)
      : m_Sink(ioSink), m_Text(iText), m_Counts(iCounts), m_Frames(ioFrames) {
    m_Frames.clear();
  }

  void Member(uint32_t, int32_t) {}
  void Grows(size_t) {}

  [[gnu::always_inline]] int32_t Token(int32_t iIndex, int32_t iType, int32_t iStart, int32_t iEnd,
                                       int32_t iParent, uint32_t iContainer) {
    switch (m_State) {
      case Start:
        return Value(iIndex, iType, iStart, iEnd, iContainer);
      case KeyValue:
        if (iParent != m_Key) return Stop(false);
        return Value(iIndex, iType, iStart, iEnd, iContainer);
      case Member_:
        for (;;) {
          const Frame& l_Open = m_Frames.back();
          if (iParent == l_Open.m_Token) {
            if (l_Open.m_Type == KELSysJSONTokenArray) {
              if (!m_Sink.ItemBegin()) return Stop(false);
              return Value(iIndex, iType, iStart, iEnd, iContainer);
            }
            if (iType == KELSysJSONTokenString) {
              if (!m_Sink.Key(m_Text + iStart, static_cast<uint32_t>(iEnd - iStart))) return Stop(false);
              m_Key = iIndex;
              m_State = KeyValue;
              return 0;
            }
          }
          if (!CloseInner()) return KELSysJSONReadStop;
        }
      default:
        return KELSysJSONReadStop;
    }
  }

  // After the last token: closes what is still open. True when the first value was walked whole.
  bool Finish() {
    if (m_State == Member_)
      while (CloseInner()) {
      }
    return m_State == Done;
  }

 private:
  enum State { Start, Member_, KeyValue, Done, Rejected };

  int32_t Stop(bool iWhole) {
    m_State = iWhole ? Done : Rejected;
    return KELSysJSONReadStop;
  }

  int32_t Value(int32_t iIndex, int32_t iType, int32_t iStart, int32_t iEnd, uint32_t iContainer) {
    const char* l_Bytes = m_Text + iStart;
    const uint32_t l_Length = static_cast<uint32_t>(iEnd - iStart);
    switch (iType) {
      case KELSysJSONTokenObject:
      case KELSysJSONTokenArray: {
        if (m_Frames.size() >= KELSysJSONMaxDepth) {
          KELSysJSONTraceTooDeep(static_cast<uint32_t>(iStart));
          return Stop(false);
        }
        const uint32_t l_Size = m_Counts[iContainer];
        m_Frames.push_back({iIndex, iType, 0, l_Size});
        const KELSysJSONTokenRecord l_Token{iType, iStart, -1, static_cast<int32_t>(l_Size), -1};
        if (!(iType == KELSysJSONTokenObject ? m_Sink.ObjectBegin(l_Token) : m_Sink.ArrayBegin(l_Token)))
          return Stop(false);
        m_State = Member_;
        return 0;
      }
      case KELSysJSONTokenString:
        if (!m_Sink.String(l_Bytes, l_Length)) return Stop(false);
        break;
      default:
        if (!m_Sink.Primitive(KELSysJSONPrimitive::Read(l_Bytes, l_Length))) return Stop(false);
        break;
    }
    if (m_Frames.empty()) return Stop(true);
    if (!MemberDone()) return Stop(false);
    m_State = Member_;
    return 0;
  }

  bool MemberDone() {
    Frame& l_Open = m_Frames.back();
    if (l_Open.m_Type == KELSysJSONTokenArray && !m_Sink.ItemEnd()) return false;
    ++l_Open.m_Count;
    return true;
  }

  // Ends the innermost open container (its count must be the counted one). False when the walk
  // is over, whole or rejected.
  bool CloseInner() {
    const Frame& l_Open = m_Frames.back();
    if (l_Open.m_Count != l_Open.m_Size) return Stop(false), false;
    const bool l_Array = l_Open.m_Type == KELSysJSONTokenArray;
    if (!(l_Array ? m_Sink.ArrayEnd() : m_Sink.ObjectEnd())) return Stop(false), false;
    m_Frames.pop_back();
    if (m_Frames.empty()) return Stop(true), false;
    if (!MemberDone()) return Stop(false), false;
    return true;
  }

  Sink& m_Sink;
  const char* m_Text;
  const std::vector<uint32_t>& m_Counts;
  std::vector<Frame>& m_Frames;
  State m_State = Start;
  int32_t m_Key = -1;  // the key whose value comes next
};

// First pass over iText (iLength bytes, at most KELSysJSONMaxText, or up to the first NUL): the
// number of tokens, or the KELSysJSONTokenizeResult of a text that fails, with the position a
// tokenizer reports in oPosition. oTree: the bytes the build of a text that passes will take for
// its blocks. Throws std::bad_alloc, also when reading the text would take more than iBudget bytes
// besides the text (see KELSysJSONCounter).
inline int32_t KELSysJSONCount(const char* iText, uint32_t iLength, KELSysJSONReadWork& ioWork,
                               uint32_t& oPosition, size_t iBudget, size_t& oTree) {
  KELSysJSONCounter l_Counter(ioWork.m_Counts, iBudget);
  KELSysJSONSpine<KELSysJSONCounter> l_Pass(l_Counter, ioWork.m_Spine);
  const int32_t l_Result = l_Pass.Run(iText, iLength);
  oPosition = l_Pass.m_Pos;
  if (l_Result > 0) l_Counter.Check(l_Pass.m_Most);
  oTree = l_Counter.Tree();
  return l_Result;
}

// Second pass, after a first that found tokens: true when the first value was walked whole into
// ioSink and the sink never said no. Throws std::bad_alloc.
template <class Sink>
bool KELSysJSONWalkCounted(const char* iText, uint32_t iLength, Sink& ioSink, KELSysJSONReadWork& ioWork) {
  KELSysJSONStreamWalk<Sink> l_Walk(ioSink, iText, ioWork.m_Counts, ioWork.m_Frames);
  KELSysJSONSpine<KELSysJSONStreamWalk<Sink>> l_Pass(l_Walk, ioWork.m_Spine);
  l_Pass.Run(iText, iLength);
  return l_Walk.Finish();
}

#endif
