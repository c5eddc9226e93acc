    // Secure probability of being premium paying active
    p_ppa=prob_product_7_state_0;

    // Move surrender product probabiliites
    probTransfer=0;
    prob=prob_customer_to_customer
        *prob_alive_to_alive
        *prob_active_to_active
        *prob_premium_paying_to_free_policy
        *prob_0;
    prob_product_7_state_0-=prob;
    prob_product_7_state_1+=prob*fp_fraction;
    prob=prob_customer_to_customer
        *prob_alive_to_alive
        *prob_active_to_disabled
        *prob_premium_paying_to_premium_paying
        *prob_0;
    prob_product_7_state_0-=prob;
    prob_product_7_state_2+=prob;
    prob=prob_customer_to_customer
        *prob_alive_to_dead
        *prob_premium_paying_to_premium_paying
        *prob_0;
    prob_product_7_state_0-=prob;
    prob_product_7_state_4+=prob;
    prob=prob_customer_to_surrender
        *prob_0;
    prob_product_7_state_0-=prob;
    prob_product_7_state_6+=prob;
    probTransfer+=prob;
    prob=prob_customer_to_customer
        *prob_alive_to_alive
        *prob_active_to_disabled
        *prob_1;
    prob_product_7_state_1-=prob;
    prob_product_7_state_3+=prob;
    prob=prob_customer_to_customer
        *prob_alive_to_dead
        *prob_1;
    prob_product_7_state_1-=prob;
    prob_product_7_state_5+=prob;
    prob=prob_customer_to_surrender
        *prob_1;
    prob_product_7_state_1-=prob;
    prob_product_7_state_6+=prob;
    probTransfer+=prob;
    prob=prob_customer_to_customer
        *prob_alive_to_dead
        *prob_premium_paying_to_premium_paying
        *prob_2;
    prob_product_7_state_2-=prob;
    prob_product_7_state_4+=prob;
    prob=prob_customer_to_customer
        *prob_alive_to_dead
        *prob_3;
    prob_product_7_state_3-=prob;
    prob_product_7_state_5+=prob;
  // Compute delta_ppa and quotient_ppa
  quotient_ppa=prob_customer_to_customer
              *prob_alive_to_alive
              *prob_active_to_active
              *prob_premium_paying_to_free_policy;
  delta_ppa=quotient_ppa*p_ppa;

    // Move probability from pp to fp
    prob_product_2_state_0-=quotient_ppa*prob_0;
    prob_product_2_fp_state_0+=quotient_ppa*fp_fraction*prob_0;
    prob_product_2_state_3-=quotient_ppa*prob_3;
    prob_product_2_fp_state_3+=quotient_ppa*fp_fraction*prob_3;
// Move probability from pp to fp
prob_product_11_state_0-=delta_ppa;
prob_product_11_fp_state_0+=delta_ppa*fp_fraction;
// Move probability from pp to fp
prob_product_12_state_0-=delta_ppa;
prob_product_12_fp_state_0+=delta_ppa*fp_fraction;
