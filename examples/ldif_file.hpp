/** ldif_file.hpp - a file of LDIF, record by record, as libldap reads them. */
#ifndef EXAMPLES_LDIF_FILE_HPP
#define EXAMPLES_LDIF_FILE_HPP

#include "connection.hpp"

#include <ldif.h>
#include <memory>

/** A record of the file. What libldap makes of it points into its text. */
class record {
  public:
    record(std::string text, unsigned long line) : line_(line), text_(std::move(text)) {
        berval bytes = {text_.size(), text_.data()};
        is_well_formed_ = ldap_parse_ldif_record(&bytes, line, &parsed_, "LDIF",
                                                 LDIF_DEFAULT_ADD) == LDAP_SUCCESS;
    }
    ~record() { ldap_ldif_record_done(&parsed_); }
    record(const record &) = delete;
    record &operator=(const record &) = delete;

    [[nodiscard]] bool is_well_formed() const { return is_well_formed_; }
    /** False for the line "version: 1", with which a file may begin. */
    [[nodiscard]] bool has_dn() const { return parsed_.lr_dn.bv_val != nullptr; }
    [[nodiscard]] std::string dn() const { return parsed_.lr_dn.bv_val; }
    [[nodiscard]] unsigned long line() const { return line_; }
    [[nodiscard]] bool is_rename() const { return parsed_.lr_op == LDAP_REQ_MODDN; }
    [[nodiscard]] qldapx::bulk::operation operation() const {
        LDAPMod **const changes = parsed_.lr_op == LDAP_REQ_DELETE ? nullptr : parsed_.lrop_mods;
        return {static_cast<int>(parsed_.lr_op), parsed_.lr_dn.bv_val, changes, parsed_.lr_ctrls};
    }

  private:
    unsigned long line_;
    std::string text_;
    LDIFRecord parsed_{};
    bool is_well_formed_;
};

using records = std::vector<std::unique_ptr<record>>;

/** A file of records, of which libldap takes care. */
class ldif_file {
  public:
    explicit ldif_file(const std::string &path) : file_(ldif_open(path.c_str(), "r")) {
        if (!file_)
            fail(2, path + " cannot be read");
        std::fseek(file_->fp, 0, SEEK_END);
        size_ = std::ftell(file_->fp);
        std::rewind(file_->fp);
    }

    /** The next record; null at the end. */
    [[nodiscard]] std::unique_ptr<record> next() {
        line_ = last_line_ + 1;
        char *text = text_.release();
        const int read = ldif_read_record(file_.get(), &last_line_, &text, &capacity_);
        text_.reset(text);
        if (read < 0)
            fail(2, "line " + std::to_string(line_) + " cannot be read");
        return read == 0 ? nullptr : std::make_unique<record>(text, line_);
    }
    /** Of the record that was read last, or of what stands before it. */
    [[nodiscard]] unsigned long line() const { return line_; }
    [[nodiscard]] int percent() const {
        return size_ <= 0 ? 100 : static_cast<int>(std::ftell(file_->fp) * 100 / size_);
    }

  private:
    struct close {
        void operator()(LDIFFP *file) const { ldif_close(file); }
    };
    struct free_text {
        void operator()(char *text) const { ber_memfree(text); }
    };
    std::unique_ptr<LDIFFP, close> file_;
    std::unique_ptr<char, free_text> text_;
    int capacity_ = 0;
    unsigned long line_ = 0, last_line_ = 0;
    long size_ = 0;
};

#endif
